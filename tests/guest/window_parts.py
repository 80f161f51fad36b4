"""Finds the parts of the tool's windows on the screen by their colours, and clicks on them."""

from desktop import Box, until

BAR_TITLE = "Background desktop"
# Of GTK's default theme, in pixels.
BORDER = 5  # of the window, outside of its frame
EDGE = 28   # from the window's right and upper edge to the middle of the close button


def _is_accent(red, green, blue):
    return red < 90 and 90 < green < 160 and blue > 190


def _is_picture_frame(red, green, blue):
    return red > 200 and 90 < green < 170 and blue < 60


def shown(display, title=BAR_TITLE):
    """The place of the window with this title, once it is on screen."""
    return until(lambda: display.window(title), f"the window {title}")


def gone(display, title=BAR_TITLE):
    until(lambda: display.window(title) is None, f"the end of the window {title}")


def test_picture(display, window):
    """The place of the test picture's frame, once it has been drawn."""
    middle_x = window.x + window.width // 4
    middle_y = window.y + window.height // 4 + 60

    def find():
        picture = display.picture()
        xs = picture.row(middle_y, _is_picture_frame)
        ys = picture.column(middle_x, _is_picture_frame)
        if not xs or not ys:
            return None
        return Box(xs[0], ys[0], xs[-1] - xs[0] + 1, ys[-1] - ys[0] + 1)

    return until(find, "the test picture")


def done_button(display, window):
    """The place of the button in the accent colour, once two pictures show the same: GTK fades from
    one look to the next."""
    def find():
        picture = display.picture()
        places = [(x, y) for y in range(window.y + 55, window.y + 110)
                  for x in range(window.x + window.width * 3 // 4, window.x + window.width)
                  if _is_accent(*picture.at(x, y))]
        if len(places) < 500:
            return None
        xs, ys = zip(*places)
        return Box(min(xs), min(ys), max(xs) - min(xs) + 1, max(ys) - min(ys) + 1)

    def settled():
        place = find()
        return place if place and place == find() else None

    return until(settled, "the button in the accent colour")


def press_done(display, window):
    button = done_button(display, window)
    display.mouse(button.x + button.width // 2, button.y + button.height // 2)


def press_later(display, window):
    button = done_button(display, window)
    display.mouse(button.x - 40, button.y + button.height // 2)


def press_close(display, window):
    display.mouse(window.x + window.width - EDGE, window.y + EDGE)
