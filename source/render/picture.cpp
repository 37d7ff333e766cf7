// Collects a sound for its picture, and writes it.
#include "picture.h"

#include <algorithm>

static constexpr size_t most_columns = size_t{2} * spectrogram_width;

picture::picture(const std::filesystem::path &wanted, const caption &words, int rate, double top)
    : file(wanted), seen{words,
                         0,
                         0,
                         std::min(top, rate / 2.0),
                         rate,
                         std::vector(words.lane_names.size(), timeline<extremes>(most_columns)),
                         spectrogram(static_cast<int>(words.lane_names.size()), rate,
                                     std::min(top, rate / 2.0), spectrogram_height, most_columns)}
{
}

void picture::write(const std::vector<double> &samples)
{
    const size_t width = seen.lanes.size();
    for (size_t i = 0; i < samples.size(); ++i) seen.lanes[i % width].add({samples[i], samples[i]});
    seen.spectrum.add(samples);
    frames += static_cast<long>(samples.size() / width);
}

void picture::close(double from)
{
    seen.spectrum.finish();
    seen.from = from;
    seen.to = from + static_cast<double>(frames) / seen.rate;
    draw(seen).write_png([this](auto bytes, auto count) { return file.write(bytes, count); });
    file.settle();
}
