#pragma once

#include <gtk/gtk.h>

#include <string>

#include "platform/bar.h"
#include "platform/gtk/reference.h"

namespace parlen::gtk {

/// What a line of a title or a label can show of `text`: all of it, unless it is longer than any
/// screen is wide. A zero byte, which would end the text for the toolkit, is shown as a blank.
std::string shownText(const std::string& text);

/// The bar's two texts, which exist, empty, before any bar does.
class Labels {
 public:
  Labels();
  GtkWidget* operator[](platform::BarLabel label) const;
  void setText(platform::BarLabel label, const std::string& text);

 private:
  Reference<GtkWidget> title_;
  Reference<GtkWidget> detail_;
};

}  // namespace parlen::gtk
