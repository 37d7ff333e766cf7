"""Boxes (x, y, width, height) and straight cords of a window: what covers what."""


def overlap(one, other):
    (x, y, w, h), (u, v, s, t) = one, other
    return x < u + s and u < x + w and y < v + t and v < y + h


def crosses(a, b, rect):
    """Whether the segment from a to b, clipped at the box's sides, has a point within it. It may
    touch the outermost pixels."""
    low, high = 0.0, 1.0
    for axis in 0, 1:
        start, along = a[axis], b[axis] - a[axis]
        near, far = rect[axis] + 1, rect[axis] + rect[axis + 2] - 1
        if not along:
            if not near < start < far:
                return False
            continue
        first, last = sorted(((near - start) / along, (far - start) / along))
        low, high = max(low, first), min(high, last)
    return low < high
