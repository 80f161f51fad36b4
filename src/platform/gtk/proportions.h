#pragma once

#include <gtk/gtk.h>

#include "platform/geometry.h"

namespace parlen::gtk {

/// Asks the window manager to keep the proportions of `content` whenever the user resizes `window`;
/// all around it keeps its size. To be called after each layout: the toolkit may have told the
/// window manager its own sizes anew.
void keepProportions(GtkWidget* window, GtkWidget* content, const platform::Size& ratio);

}  // namespace parlen::gtk
