// Lookup tables, built once and only read afterwards.
#include "k_utils.h"

k_sampfilt_row *k_sampfilt_tab = nullptr;

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
        const double f = double(float(i) * 0.00390625f);
        rows[i][0] = float(k * f * (1 - f) * (2 - f));
        rows[i][1] = float(0.5 * (1 + f) * (1 - f) * (2 - f));
        rows[i][2] = float(0.5 * (1 + f) * f * (2 - f));
        rows[i][3] = float(k * (1 + f) * f * (1 - f));
    }
    k_sampfilt_tab = rows;
    return 1;
}
