#pragma once

#include <gtk/gtk.h>

#include <string>

#include "platform/gtk/connection.h"
#include "platform/gtk/reference.h"
#include "platform/window_system.h"

namespace parlen::gtk {

/// What a title or a label shows of `text`: its first 4000 bytes, cut at a character of UTF-8, with
/// a space for each control character. GTK would end the text at a NUL, and draw a line feed with a
/// sign that is taller than the line.
std::string shownText(const std::string& text);

/// The two labels of the bar. They exist, empty, before any bar does.
class Labels {
 public:
  static Labels make();
  GtkWidget* operator[](platform::BarLabel label) const;
  /// `text` as `shownText` returns it.
  void setText(platform::BarLabel label, const std::string& text);

 private:
  Reference<GtkWidget> title_;
  Reference<GtkWidget> detail_;
};

/// The widgets of a bar, with a floating reference. The labels are removed from any other bar.
GtkWidget* makeBar(Connection& connection, const platform::BarStack& bar, const Labels& labels);

}  // namespace parlen::gtk
