#include "platform/gtk/bar.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <variant>

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

/// Makes the widget of each kind of bar view.
class WidgetMaker {
 public:
  WidgetMaker(Connection& connection, const Labels& labels)
      : connection_(connection), labels_(labels) {}

  GtkWidget* operator()(const BarImage& image) const {
    const int side = points(std::min(image.width, image.height));
    constexpr int scale = 2;  // sharp on screens with two pixels per point, too
    const Reference<GdkPixbuf> icon(makeIcon(side * scale));
    cairo_surface_t* surface = gdk_cairo_surface_create_from_pixbuf(icon.get(), scale, nullptr);
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

  /// No key presses it: it cannot have the keyboard focus, has no mnemonic and is not the default
  /// button. `keyEquivalent` is always empty and is ignored.
  GtkWidget* operator()(const BarButton& button) const {
    GtkWidget* widget = gtk_button_new_with_label(button.title.c_str());
    gtk_widget_set_can_focus(widget, FALSE);
    gtk_widget_set_focus_on_click(widget, FALSE);
    gtk_widget_set_valign(widget, GTK_ALIGN_CENTER);
    if (button.bezelColor == platform::NamedColor::controlAccent) {
      addClass(widget, "suggested-action");
    }
    auto* press = new Press{connection_, button.onPress};  // owned by the signal's connection
    g_signal_connect_data(widget, "clicked", G_CALLBACK(onClicked), press, deletePress,
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
  struct Press {
    Connection& connection;
    std::function<void()> handler;
  };
  static void onClicked(GtkButton*, gpointer press) {
    static_cast<Press*>(press)->connection.callOut(static_cast<Press*>(press)->handler);
  }
  static void deletePress(gpointer press, GClosure*) { delete static_cast<Press*>(press); }

  /// Of the frame only the height counts, as the bar's minimum; the window gives the width.
  static void setOuter(GtkWidget* box, const platform::OuterStack& outer) {
    gtk_widget_set_margin_top(box, points(outer.edgeInsets.top));
    gtk_widget_set_margin_start(box, points(outer.edgeInsets.left));
    gtk_widget_set_margin_bottom(box, points(outer.edgeInsets.bottom));
    gtk_widget_set_margin_end(box, points(outer.edgeInsets.right));
    const double insets = outer.edgeInsets.top + outer.edgeInsets.bottom;
    gtk_widget_set_size_request(box, -1, points(std::max(outer.frame.height - insets, 0.0)));
  }

  Connection& connection_;
  const Labels& labels_;
};

}  // namespace

std::string shownText(const std::string& text) {
  constexpr std::size_t max = 4000;  // bytes; laying out a megabyte would take seconds
  std::size_t end = std::min(text.size(), max);
  // Back over UTF-8 continuation bytes (RFC 3629: 10xxxxxx) to the start of a character.
  while (end < text.size() && end > 0 && (text[end] & 0xc0) == 0x80) --end;
  std::string shown = text.substr(0, end);
  const auto isControl = [](char byte) { return static_cast<unsigned char>(byte) < ' '; };
  std::ranges::replace_if(shown, isControl, ' ');
  return shown;
}

Labels Labels::make() {
  Labels labels;
  labels.title_ = Reference(gtk_label_new(nullptr));
  labels.detail_ = Reference(gtk_label_new(nullptr));
  return labels;
}

GtkWidget* Labels::operator[](platform::BarLabel label) const {
  return (label == platform::BarLabel::title ? title_ : detail_).get();
}

void Labels::setText(platform::BarLabel label, const std::string& text) {
  gtk_label_set_text(GTK_LABEL((*this)[label]), text.c_str());
}

GtkWidget* makeBar(Connection& connection, const BarStack& bar, const Labels& labels) {
  GtkWidget* widget = WidgetMaker(connection, labels).make(bar);
  gtk_widget_show_all(widget);
  return widget;
}

}  // namespace parlen::gtk
