#include "platform/gtk/labels.h"

#include <algorithm>

namespace parlen::gtk {

std::string shownText(const std::string& text) {
  constexpr std::size_t longest = 4000;  // bytes; laying out a megabyte would take seconds
  std::size_t end = std::min(text.size(), longest);
  // Not in the middle of a character.
  while (end < text.size() && end > 0 && (text[end] & 0xc0) == 0x80) --end;
  std::string shown = text.substr(0, end);
  std::ranges::replace(shown, '\0', ' ');
  return shown;
}

Labels::Labels() : title_(gtk_label_new(nullptr)), detail_(gtk_label_new(nullptr)) {}

GtkWidget* Labels::operator[](platform::BarLabel label) const {
  return (label == platform::BarLabel::title ? title_ : detail_).get();
}

void Labels::setText(platform::BarLabel label, const std::string& text) {
  gtk_label_set_text(GTK_LABEL((*this)[label]), shownText(text).c_str());
}

}  // namespace parlen::gtk
