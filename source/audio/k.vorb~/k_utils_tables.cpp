// Lookup tables, built once and only read afterwards.
#include "k_utils.h"

#include <cmath>

k_shared<k_sampfilt_row *> k_sampfilt_tab = nullptr;
double k_pan_span[2 * k_pan_size + k_pos_size];
double *const k_sin_pan_table = k_pan_span;
double *const k_sqrt_pan_table = &k_pan_span[k_pan_size];
double *const k_sin_pos_table = &k_pan_span[std::size_t{2} * k_pan_size];
static double sqrt_pos[k_pos_size];
double *const k_sqrt_pos_table = sqrt_pos;
double k_sqrt_table[k_sqrt_size];

std::int32_t k_make_sampfilt_tab()
{
    if (k_sampfilt_tab) return 1;
    const auto rows =
        reinterpret_cast<k_sampfilt_row *>(sysmem_newptr(k_sampfilt_rows * sizeof(k_sampfilt_row)));
    if (!rows) return 0;
    // Cubic Lagrange weights. The factor is the float of -0.1666667, two steps off that of -1/6:
    // deliberate, every render relies on these very weights.
    const double k = -0.16666670143604279;
    for (int i = 0; i < k_sampfilt_rows; ++i) {
        const double f = i / 256.0;
        rows[i][0] = float(k * f * (1 - f) * (2 - f));
        rows[i][1] = float(0.5 * (1 + f) * (1 - f) * (2 - f));
        rows[i][2] = float(0.5 * (1 + f) * f * (2 - f));
        rows[i][3] = float(k * (1 + f) * f * (1 - f));
    }
    k_sampfilt_tab = rows;
    return 1;
}

/// Two quarter periods of `quarter` entries from `start` on, zeros elsewhere: the sine and the
/// square-root lobe of the same place.
static void k_fill_lobes(double *sine, double *root, int size, int start, int quarter)
{
    for (int i = 0; i < size; ++i) {
        const double u = double(i - start) / quarter; // exact
        const bool inside = u >= 0 && u < 2;
        sine[i] = inside ? std::sin(u * 1.5707963267948966) : 0;
        root[i] = inside ? std::sqrt(u < 1 ? u : 2 - u) : 0;
    }
}

void k_init_pan_tables() { k_fill_lobes(k_sin_pan_table, k_sqrt_pan_table, k_pan_size, 256, 256); }

void k_init_pos_tables()
{
    k_fill_lobes(k_sin_pos_table, k_sqrt_pos_table, k_pos_size, 12288, 4096);
}

void k_init_sqrt_table()
{
    for (int i = 0; i < k_sqrt_size; ++i) k_sqrt_table[i] = std::sqrt(i / 1024.0);
}
