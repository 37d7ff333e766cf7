// One fog by itself, from its sample into the outlets of each layout: the definition of what a fog
// adds to them, by which the walk over all fogs is tested and measured.
#include "k_vorb_play.h"

#include <array>

template <const auto &taps>
static std::int32_t vorb_render(vorb_fog *fog, const std::array<double *, std::size(taps)> &out,
                                std::int64_t n)
{
    constexpr int sources = vorb_count_sources(taps);
    double *const s[] = {temp1, temp2, temp3, temp4};
    if constexpr (sources == 1) vorb_read(&fog->reader, s[0], n);
    else if constexpr (sources == 2) vorb_read_stereo(&fog->reader, s[0], s[1], n);
    else vorb_read_quadro(&fog->reader, s[0], s[1], s[2], s[3], n);
    fog->reader.pos_ms += fog->reader.pos_step_ms; // once a block, also while the fog waits

    return vorb_play<taps>(fog, s, out.data(), n);
}

std::int32_t vorb_run_one1(vorb_fog *fog, double *out1, std::int64_t n)
{
    return vorb_render<taps1>(fog, {out1}, n);
}

std::int32_t vorb_run_one2(vorb_fog *fog, double *out1, double *out2, std::int64_t n)
{
    return vorb_render<taps2>(fog, {out1, out2}, n);
}

std::int32_t vorb_run_one2s(vorb_fog *fog, double *out1, double *out2, std::int64_t n)
{
    return vorb_render<taps2s>(fog, {out1, out2}, n);
}

std::int32_t vorb_run_one4(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                           std::int64_t n)
{
    return vorb_render<taps4>(fog, {out1, out2, out3, out4}, n);
}

std::int32_t vorb_run_one4s(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                            std::int64_t n)
{
    return vorb_render<taps4s>(fog, {out1, out2, out3, out4}, n);
}

std::int32_t vorb_run_one6(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                           double *out5, double *out6, std::int64_t n)
{
    return vorb_render<taps6>(fog, {out1, out2, out3, out4, out5, out6}, n);
}

std::int32_t vorb_run_one6q(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                            double *out5, double *out6, std::int64_t n)
{
    return vorb_render<taps6q>(fog, {out1, out2, out3, out4, out5, out6}, n);
}

std::int32_t vorb_run_one10(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                            double *out5, double *out6, double *out7, double *out8, double *out9,
                            double *out10, std::int64_t n)
{
    return vorb_render<taps10>(fog, {out1, out2, out3, out4, out5, out6, out7, out8, out9, out10},
                               n);
}
