#include "platform/gtk/picture.h"

#include <algorithm>
#include <array>
#include <numbers>

#include "platform/machine_configuration.h"

namespace parlen::gtk {
namespace {

struct Color {
  double red;
  double green;
  double blue;
};

constexpr double fullCircle = 2 * std::numbers::pi;
constexpr double pictureWidth = vmDisplayWidth;
constexpr double pictureHeight = vmDisplayHeight;

void setColor(cairo_t* canvas, const Color& color) {
  cairo_set_source_rgb(canvas, color.red, color.green, color.blue);
}

void roundedRectangle(cairo_t* canvas, double x, double y, double width, double height,
                      double radius) {
  constexpr double quarter = fullCircle / 4;
  cairo_new_sub_path(canvas);
  cairo_arc(canvas, x + width - radius, y + radius, radius, -quarter, 0);
  cairo_arc(canvas, x + width - radius, y + height - radius, radius, 0, quarter);
  cairo_arc(canvas, x + radius, y + height - radius, radius, quarter, 2 * quarter);
  cairo_arc(canvas, x + radius, y + radius, radius, 2 * quarter, 3 * quarter);
  cairo_close_path(canvas);
}

void drawColorBars(cairo_t* canvas) {
  constexpr std::array bars = {Color{0.75, 0.75, 0.75}, Color{0.75, 0.75, 0}, Color{0, 0.75, 0.75},
                               Color{0, 0.75, 0},       Color{0.75, 0, 0.75}, Color{0.75, 0, 0},
                               Color{0, 0, 0.75},       Color{0.1, 0.1, 0.1}};
  constexpr double width = pictureWidth / bars.size();
  for (std::size_t i = 0; i < bars.size(); ++i) {
    setColor(canvas, bars[i]);
    cairo_rectangle(canvas, static_cast<double>(i) * width, 0, width, pictureHeight);
    cairo_fill(canvas);
  }
}

/// The frame is on the outermost pixels: if a side is missing, the picture is cut off there.
void drawLines(cairo_t* canvas) {
  constexpr double line = 8;
  cairo_set_line_width(canvas, line);
  setColor(canvas, {1, 0.5, 0});
  cairo_rectangle(canvas, line / 2, line / 2, pictureWidth - line, pictureHeight - line);
  cairo_stroke(canvas);
  setColor(canvas, {1, 1, 1});
  cairo_arc(canvas, pictureWidth / 2, pictureHeight / 2, pictureHeight * 0.45, 0, fullCircle);
  cairo_stroke(canvas);
}

void drawText(cairo_t* canvas, const std::string& text) {
  constexpr double size = 60;
  constexpr double height = 140;
  setColor(canvas, {0, 0, 0});
  cairo_rectangle(canvas, pictureWidth / 5, (pictureHeight - height) / 2, pictureWidth * 3 / 5,
                  height);
  cairo_fill(canvas);
  setColor(canvas, {1, 1, 1});
  cairo_select_font_face(canvas, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(canvas, size);
  cairo_text_extents_t extents;
  cairo_text_extents(canvas, text.c_str(), &extents);
  cairo_move_to(canvas, (pictureWidth - extents.width) / 2 - extents.x_bearing,
                (pictureHeight - extents.height) / 2 - extents.y_bearing);
  cairo_show_text(canvas, text.c_str());
}

/// A screen on a foot, in a square of 32 units.
void drawIcon(cairo_t* canvas) {
  setColor(canvas, {0.20, 0.24, 0.31});
  roundedRectangle(canvas, 1, 3, 30, 21, 3);
  cairo_fill(canvas);
  roundedRectangle(canvas, 9, 26, 14, 3, 1.5);
  cairo_fill(canvas);
  setColor(canvas, {0.21, 0.52, 0.89});
  roundedRectangle(canvas, 3.5, 5.5, 25, 16, 1.5);
  cairo_fill(canvas);
  // A window on that screen.
  setColor(canvas, {0.96, 0.97, 0.98});
  roundedRectangle(canvas, 9, 9, 14, 9, 1);
  cairo_fill(canvas);
}

}  // namespace

GdkPixbuf* makeIcon(int side) {
  constexpr double units = 32;
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, side, side);
  cairo_t* canvas = cairo_create(surface);
  cairo_scale(canvas, side / units, side / units);
  drawIcon(canvas);
  cairo_destroy(canvas);
  GdkPixbuf* icon = gdk_pixbuf_get_from_surface(surface, 0, 0, side, side);
  cairo_surface_destroy(surface);
  return icon;
}

void drawTestPicture(cairo_t* canvas, int width, int height, const std::string& text) {
  setColor(canvas, {0, 0, 0});
  cairo_paint(canvas);
  const double scale = std::min(width / pictureWidth, height / pictureHeight);
  cairo_translate(canvas, (width - pictureWidth * scale) / 2, (height - pictureHeight * scale) / 2);
  cairo_scale(canvas, scale, scale);
  drawColorBars(canvas);
  drawLines(canvas);
  drawText(canvas, text);
}

}  // namespace parlen::gtk
