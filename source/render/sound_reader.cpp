// Reading sound files whole.
#include "sound_reader.h"

#include <memory>
#include <sndfile.h>
#include <stdexcept>

sound read_sound(const std::filesystem::path &file)
{
    if (!std::filesystem::exists(file)) throw std::runtime_error("there is no such file");
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE *)> in(sf_open(file.c_str(), SFM_READ, &info),
                                                          sf_close);
    if (!in) throw std::runtime_error(sf_strerror(nullptr));

    // In steps: the length that a header claims may be wrong by gigabytes.
    sound result{info.channels, static_cast<double>(info.samplerate), {}};
    constexpr sf_count_t step = 1 << 16;
    std::vector<float> some(static_cast<size_t>(step * info.channels));
    while (const sf_count_t frames = sf_readf_float(in.get(), some.data(), step))
        result.samples.insert(result.samples.end(), some.begin(),
                              some.begin() + frames * info.channels);
    if (sf_error(in.get())) throw std::runtime_error(sf_strerror(in.get()));
    if (result.samples.empty()) throw std::runtime_error("it holds no sound");
    return result;
}
