#pragma once

#include <gtk/gtk.h>

#include <string>

namespace parlen::gtk {

/// The program's icon, a square of `side` pixels; the caller owns it.
GdkPixbuf* makeIcon(int side);

/// What stands for a guest's display where there is no guest: lines and a circle that show at once
/// whether it is distorted or cut off, and a line of text. It fills the given size as far
/// as its proportions allow.
void drawTestPicture(cairo_t* canvas, int width, int height, const std::string& text);

}  // namespace parlen::gtk
