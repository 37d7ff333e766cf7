// What the writer gathers before it visits the file arrives whole and in order.
#include "sound_writer.h"

#include "sound_format.h"
#include "workshop.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sys/syscall.h>
#include <unistd.h>

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

/// 1000 frames that rise from a value.
static std::vector<double> rise(double from)
{
    std::vector<double> some;
    for (int i = 0; i < 10000; ++i) some.push_back(from + i / 16384.0);
    return some;
}

static bool silence_is_a_hole = false;

/// In the place of the C library's: hours of silence need no disk.
extern "C" ssize_t write(int file, const void *bytes, size_t count)
{
    const auto *first = static_cast<const char *>(bytes);
    if (!silence_is_a_hole || !count || *first || std::memcmp(first, first + 1, count - 1))
        return syscall(SYS_write, file, bytes, count);
    lseek(file, static_cast<off_t>(count), SEEK_CUR);
    return static_cast<ssize_t>(count);
}

class LongSounds : public workshop {
protected:
    static constexpr sf_count_t frames = 55 * 1000 * 1000; // of 80 bytes: 4.4 GB

    void make(const std::string &name)
    {
        const std::filesystem::path file = folder / name;
        sound_writer out(file, with_room(choose_format(file, "double", 10, 44100), frames));
        const std::vector<double> silence(100 * 1000 * 10), less(98 * 1000 * 10);
        silence_is_a_hole = true;
        out.write(rise(-1));
        for (int i = 1; i < 550; ++i) out.write(silence);
        out.write(less);
        out.write(rise(1));
        out.close();
        out.keep();
        silence_is_a_hole = false;
    }
};

/// What other programs look at.
static void check_sizes_of_rf64(const std::filesystem::path &file, std::uint64_t frames)
{
    std::ifstream in(file, std::ios::binary);
    const auto text = [&](size_t length) {
        std::string some(length, '\0');
        in.read(some.data(), static_cast<std::streamsize>(length));
        return some;
    };
    const auto number = [&](size_t bytes) {
        std::uint64_t value = 0;
        for (size_t i = 0; i < bytes; ++i) value |= std::uint64_t(in.get() & 0xFF) << 8 * i;
        return value;
    };
    const std::uint64_t size = std::filesystem::file_size(file);
    EXPECT_EQ(text(4), "RF64");
    EXPECT_EQ(number(4), 0xFFFFFFFF);
    EXPECT_EQ(text(8), "WAVEds64");
    EXPECT_GE(number(4), 28u);
    EXPECT_EQ(number(8), size - 8);
    EXPECT_EQ(number(8), frames * 80);
    EXPECT_EQ(number(8), frames);
    in.seekg(0);
    const std::string head = text(500);
    const size_t data = head.find("data");
    ASSERT_NE(data, head.npos);
    EXPECT_EQ(data + 8 + frames * 80, size) << "the samples end with the file";
    EXPECT_EQ(head.substr(data + 4, 4), "\xFF\xFF\xFF\xFF");
}

class LongKinds : public LongSounds, public testing::WithParamInterface<const char *> {};

TEST_P(LongKinds, are_whole_beyond_4_GB)
{
    make(GetParam());
    SF_INFO seen{};
    SNDFILE *in = sf_open((folder / GetParam()).c_str(), SFM_READ, &seen);
    ASSERT_TRUE(in) << sf_strerror(nullptr);
    EXPECT_EQ(seen.frames, frames);
    EXPECT_EQ(seen.channels, 10);
    std::vector<double> heard(10000);
    EXPECT_EQ(sf_readf_double(in, heard.data(), 1000), 1000);
    EXPECT_EQ(heard, rise(-1));
    sf_seek(in, -1000, SEEK_END);
    EXPECT_EQ(sf_readf_double(in, heard.data(), 1000), 1000);
    EXPECT_EQ(heard, rise(1));
    sf_close(in);
    if ((seen.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_RF64)
        check_sizes_of_rf64(folder / GetParam(), frames);
}

INSTANTIATE_TEST_SUITE_P(All, LongKinds, testing::Values("x.wav", "x.caf", "x.w64"),
                         [](const auto &test) { return std::string(test.param + 2); });

TEST_F(LongSounds, that_stay_short_are_plain_and_the_same_to_the_byte_every_time)
{
    std::string made[2];
    for (std::string &bytes : made) {
        if (!made[0].empty()) usleep(1100 * 1000); // no second may be found in the file
        sound_writer out(folder / "x.wav",
                         with_room(choose_format(folder / "x.wav", "", 10, 44100), frames));
        out.write(rise(0.5));
        out.close();
        out.keep();
        bytes = text_of("x.wav");
    }
    EXPECT_EQ(made[0], made[1]);
    EXPECT_EQ(made[0].substr(0, 4), "RIFF");
    const recording heard = listen(folder / "x.wav");
    ASSERT_EQ(heard.frames(), 1000u);
    EXPECT_EQ(heard.channels[9][999], rise(0.5)[9999]);
}
