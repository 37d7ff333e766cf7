// What the writer gathers before it visits the file arrives whole and in order.
#include "sound_writer.h"

#include "sound_format.h"
#include "workshop.h"

#include <array>

class SoundWriter : public workshop, public testing::WithParamInterface<long> {};

/// Frame i of a stereo sound: exact in 32-bit float.
static std::array<double, 2> frame(long i) { return {i / 65536.0, -i / 65536.0}; }

TEST_P(SoundWriter, keeps_every_frame_of_blocks_of_any_length)
{
    const long frames = GetParam();
    sound_writer out(folder / "x.wav", choose_format(folder / "x.wav", "", 2, 44100));
    std::vector<double> block;
    for (long i = 0, length = 1; i < frames; ++i) {
        const auto both = frame(i);
        block.insert(block.end(), both.begin(), both.end());
        if (i + 1 < frames && block.size() < 2 * static_cast<size_t>(length)) continue;
        out.write(block);
        block.clear();
        length = length % 300 + 1;
    }
    out.close();
    out.keep();
    const recording heard = listen(folder / "x.wav");
    ASSERT_EQ(heard.frames(), static_cast<size_t>(frames));
    for (long i = 0; i < frames; ++i)
        for (size_t ear = 0; ear < 2; ++ear)
            ASSERT_EQ(heard.channels[ear][static_cast<size_t>(i)], frame(i)[ear]) << i;
}

INSTANTIATE_TEST_SUITE_P(SoundWriter, SoundWriter, testing::Values(1, 8191, 8192, 8193, 50000));
