#pragma once

#include <gtk/gtk.h>

#include <cstdint>

namespace parlen::gtk {

/// A title bar with the controls that a window of this style has, on the side where this desktop
/// has them.
GtkWidget* makeHeader(std::uint64_t styleMask);

}  // namespace parlen::gtk
