// The colours of levels.
#pragma once

struct colour {
    double red, green, blue; // 0 to 1
};

/// From dark for 0 to bright for 1, evenly to the eye.
colour level_colour(double part);
