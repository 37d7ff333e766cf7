// The three-dimensional panner: a cube of eight loudspeakers.
#include "k_utils.h"

#include <algorithm>
#include <cmath>

void k_pan3d8(double *gains, double x, double y, double z, double d, double radius)
{
    const double root3 = 1.7320507764816284; // in single precision, deliberate: renders rely on it
    const double nearness = radius > d ? d / radius : 1;
    double p[3] = {x, y, z};
    for (double &c : p) {
        // Each axis by itself: a direction outside the cube is not drawn back along its ray.
        c *= root3;
        if (c > 1) c = 1;
        if (c < -1) c = -1;
        c *= nearness;
    }
    static const signed char corners[8][3] = {{-1, 1, 1},  {1, 1, 1},  {1, -1, 1},  {-1, -1, 1},
                                              {-1, 1, -1}, {1, 1, -1}, {1, -1, -1}, {-1, -1, -1}};
    for (int k = 0; k < 8; ++k) {
        double weight = 1;
        for (int axis = 0; axis < 3; ++axis) weight *= 1 + corners[k][axis] * p[axis];
        // Farther behind the centre than the radius, weights are negative or beyond 1.
        const std::int64_t index = k_trunc(1024 * (weight / 8)) % k_sqrt_size;
        gains[k] = k_sqrt_table[std::max<std::int64_t>(index, 0)];
    }
}

void k_pan3d8polar(double *gains, double azimuth, double elevation, double d, double radius)
{
    const double pi = 3.141592653589793;
    const double a = pi * azimuth / 180, e = pi * elevation / 180;
    k_pan3d8(gains, std::cos(e) * std::sin(a), std::cos(e) * std::cos(a), std::sin(e), d, radius);
}
