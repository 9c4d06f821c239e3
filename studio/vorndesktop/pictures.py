"""Pictures of the screen, and the difference of two pictures."""

ICON = 24  # the width of an icon in a bar


class Picture:
    """Colour pixels of the screen or of a part of it, three bytes each."""

    def __init__(self, width, height, pixels, left=0, top=0):
        self.width, self.height, self.pixels = width, height, pixels
        self.left, self.top = left, top

    @classmethod
    def from_ppm(cls, data, left=0, top=0):
        """Reads the binary PPM form with 8 bits a colour."""
        magic, width, height, depth = data.split(maxsplit=4)[:4]
        if magic != b"P6" or depth != b"255":
            raise ValueError("not a PPM picture of 8 bits a colour")
        width, height = int(width), int(height)
        return cls(width, height, data[len(data) - 3 * width * height:], left, top)

    def __eq__(self, other):
        return isinstance(other, Picture) and vars(self) == vars(other)

    def at(self, x, y):
        """The colour at a place of the screen, as (red, green, blue)."""
        offset = 3 * ((y - self.top) * self.width + x - self.left)
        return tuple(self.pixels[offset:offset + 3])

    def columns_that_differ(self, other):
        """The columns, in the screen's coordinates, with a pixel that differs from the other picture."""
        row = 3 * self.width
        found = set()
        for start in range(0, len(self.pixels), row):
            mine, theirs = self.pixels[start:start + row], other.pixels[start:start + row]
            if mine != theirs:
                found.update(at // 3 for at in range(row) if mine[at] != theirs[at])
        return sorted(self.left + column for column in found)

    def contrast(self, other, middle, pixels=20):
        """The contrast with the other picture, 1 to 21 by the rule of W3C, of an icon with its middle at this column.

        At least so many pixels reach it.
        """
        columns = range(middle - ICON // 2, min(middle + ICON // 2, self.left + self.width))
        places = [(x, y) for y in range(self.top, self.top + self.height) for x in columns]
        return sorted((_contrast(self.at(*place), other.at(*place)) for place in places), reverse=True)[pixels - 1]

    def greatest_difference(self, other):
        """The largest difference of a pixel from the other picture, in steps of one colour: 0 to 255."""
        return max(abs(mine - theirs) for mine, theirs in zip(self.pixels, other.pixels))


def _luminance(color):
    """The relative luminance by the rule of W3C: 0 for black to 1 for white."""
    parts = [value / 255 for value in color]
    linear = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def _contrast(one, other):
    dark, light = sorted((_luminance(one), _luminance(other)))
    return (light + 0.05) / (dark + 0.05)


def span(columns):
    """The first and last of some columns, or None if there are none."""
    return (columns[0], columns[-1]) if columns else None
