#include "platform/gtk/bar.h"

#include <cmath>
#include <functional>

#include "platform/gtk/picture.h"
#include "platform/gtk/reference.h"

namespace parlen::gtk {
namespace {

using platform::BarButton;
using platform::BarImage;
using platform::BarSpacer;
using platform::BarStack;
using platform::BarText;

int points(double length) { return static_cast<int>(std::lround(length)); }

void addClass(GtkWidget* widget, const char* name) {
  gtk_style_context_add_class(gtk_widget_get_style_context(widget), name);
}

/// One widget for each kind of view.
class WidgetMaker {
 public:
  explicit WidgetMaker(const Labels& labels) : labels_(labels) {}

  GtkWidget* operator()(const BarImage& image) const {
    const int side = points(std::min(image.width, image.height));
    // Drawn for the sharpest of screens, and shown at the size that was asked for.
    constexpr int sharpest = 2;
    const Reference<GdkPixbuf> icon(makeIcon(side * sharpest));
    cairo_surface_t* surface = gdk_cairo_surface_create_from_pixbuf(icon.get(), sharpest, nullptr);
    GtkWidget* widget = gtk_image_new_from_surface(surface);
    cairo_surface_destroy(surface);
    gtk_widget_set_size_request(widget, points(image.width), points(image.height));
    return widget;
  }

  GtkWidget* operator()(const BarText& text) const {
    GtkWidget* widget = labels_[text.label];
    if (GtkWidget* parent = gtk_widget_get_parent(widget)) {
      gtk_container_remove(GTK_CONTAINER(parent), widget);
    }
    auto* label = GTK_LABEL(widget);
    gtk_label_set_single_line_mode(label, TRUE);
    gtk_label_set_ellipsize(label, PANGO_ELLIPSIZE_END);
    gtk_label_set_xalign(label, 0);
    PangoAttrList* attributes = pango_attr_list_new();
    if (text.face == platform::FontFace::boldSystem) {
      pango_attr_list_insert(attributes, pango_attr_weight_new(PANGO_WEIGHT_BOLD));
    }
    if (text.size == platform::FontSize::small) {
      pango_attr_list_insert(attributes, pango_attr_scale_new(PANGO_SCALE_SMALL));
    }
    gtk_label_set_attributes(label, attributes);
    pango_attr_list_unref(attributes);
    if (text.textColor == platform::NamedColor::secondaryLabel) addClass(widget, "dim-label");
    return widget;
  }

  GtkWidget* operator()(const BarSpacer&) const {
    GtkWidget* widget = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_widget_set_hexpand(widget, TRUE);
    return widget;
  }

  /// No key presses it: it never has the keyboard's focus, has no mnemonic and is no default. The
  /// program asks for no key equivalent, and none is given.
  GtkWidget* operator()(const BarButton& button) const {
    GtkWidget* widget = gtk_button_new_with_label(button.title.c_str());
    gtk_widget_set_can_focus(widget, FALSE);
    gtk_widget_set_focus_on_click(widget, FALSE);
    gtk_widget_set_valign(widget, GTK_ALIGN_CENTER);
    if (button.bezelColor == platform::NamedColor::controlAccent) {
      addClass(widget, "suggested-action");
    }
    auto* pressed = new std::function<void()>(button.pressed);
    g_signal_connect_data(widget, "clicked", G_CALLBACK(clicked), pressed, forget,
                          static_cast<GConnectFlags>(0));
    return widget;
  }

  GtkWidget* operator()(const std::shared_ptr<BarStack>& stack) const { return make(*stack); }

  GtkWidget* make(const BarStack& stack) const {
    const bool vertical = stack.orientation == platform::Orientation::vertical;
    GtkWidget* box = gtk_box_new(vertical ? GTK_ORIENTATION_VERTICAL : GTK_ORIENTATION_HORIZONTAL,
                                 points(stack.spacing));
    for (const platform::BarView& view : stack.views) {
      GtkWidget* widget = std::visit(*this, view);
      if (stack.alignment == platform::StackAlignment::centerY) {
        gtk_widget_set_valign(widget, GTK_ALIGN_CENTER);
      }
      gtk_container_add(GTK_CONTAINER(box), widget);
    }
    if (stack.outer) setOuter(box, *stack.outer);
    return box;
  }

 private:
  static void clicked(GtkButton*, gpointer pressed) {
    (*static_cast<std::function<void()>*>(pressed))();
  }
  static void forget(gpointer pressed, GClosure*) {
    delete static_cast<std::function<void()>*>(pressed);
  }

  /// The width of the frame is the window's matter, its height the least that the bar takes.
  static void setOuter(GtkWidget* box, const platform::OuterStack& outer) {
    gtk_widget_set_margin_top(box, points(outer.edgeInsets.top));
    gtk_widget_set_margin_start(box, points(outer.edgeInsets.left));
    gtk_widget_set_margin_bottom(box, points(outer.edgeInsets.bottom));
    gtk_widget_set_margin_end(box, points(outer.edgeInsets.right));
    const double insets = outer.edgeInsets.top + outer.edgeInsets.bottom;
    gtk_widget_set_size_request(box, -1, points(std::max(outer.frame.height - insets, 0.0)));
  }

  const Labels& labels_;
};

}  // namespace

GtkWidget* makeBar(const BarStack& bar, const Labels& labels) {
  GtkWidget* widget = WidgetMaker(labels).make(bar);
  gtk_widget_show_all(widget);
  return widget;
}

}  // namespace parlen::gtk
