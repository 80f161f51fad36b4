"""Where the parts of the tool's windows are, found by their looks, and what a user does there."""

from desktop import Box, until

BAR_TITLE = "Background desktop"
BORDER = 5  # of the window, outside of its frame; the toolkit's
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
    """The button in the accent colour: its left and right edge and its middle's y."""
    def find():
        picture = display.picture()
        for y in range(window.y + 60, window.y + 100, 4):
            xs = [x for x in picture.row(y, _is_accent) if x > window.x + window.width // 2]
            if len(xs) > 30:
                return xs[0], xs[-1], y + 8
        return None

    return until(find, "the button in the accent colour")


def press_done(display, window):
    left, right, y = done_button(display, window)
    display.mouse((left + right) // 2, y)


def press_later(display, window):
    left, _, y = done_button(display, window)
    display.mouse(left - 40, y)


def press_close(display, window):
    display.mouse(window.x + window.width - EDGE, window.y + EDGE)
