#pragma once

#include <gtk/gtk.h>

#include <string>

/// Everything that the module draws itself.
namespace parlen::gtk {

/// The program's icon, a square of `side` pixels. The caller owns it.
GdkPixbuf* makeIcon(int side);

/// Draws the picture that stands for the display of a guest without one: lines and a circle, which
/// show whether it is distorted or cut off, and one line of text. It is scaled to the given size,
/// with its aspect ratio kept and black around it.
void drawTestPicture(cairo_t* canvas, int width, int height, const std::string& text);

}  // namespace parlen::gtk
