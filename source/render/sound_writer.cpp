// Writing a sound file that is either whole or not there.
#include "sound_writer.h"

#include "failure.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

// 32-bit sizes end at 4 GB; the header needs some of them.
static constexpr sf_count_t small_file = 0xFFFF0000;

static bool sized_in_32_bits(int format)
{
    const int type = format & SF_FORMAT_TYPEMASK;
    return type == SF_FORMAT_WAV || type == SF_FORMAT_AIFF || type == SF_FORMAT_AU;
}

static sf_count_t bytes_per_sample(int format)
{
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_16:
        return 2;
    case SF_FORMAT_PCM_24:
        return 3;
    case SF_FORMAT_DOUBLE:
        return 8;
    default:
        return 4;
    }
}

sound_writer::sound_writer(const fs::path &wanted, const SF_INFO &wanted_info)
    : file(wanted), info(wanted_info)
{
    check_place();
    open_temporary();
}

sound_writer::~sound_writer()
{
    if (out) sf_close(out);
    if (!temporary.empty()) unlink(temporary.c_str());
}

void sound_writer::fail(const std::string &why) const
{
    throw bad_input(file.string() + ": cannot be written: " + why);
}

// A rename would replace a device, or a file protected from writing, without asking.
void sound_writer::check_place() const
{
    if (!fs::exists(file)) return;
    if (!fs::is_regular_file(file)) fail("it is no ordinary file");
    if (access(file.c_str(), W_OK)) fail(std::strerror(errno));
}

void sound_writer::open_temporary()
{
    std::string name = file.string() + ".XXXXXX";
    const int descriptor = mkstemp(name.data());
    if (descriptor < 0) fail(std::strerror(errno));
    temporary = name;
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(descriptor, 0666 & ~mask);
    out = sf_open_fd(descriptor, SFM_WRITE, &info, SF_TRUE);
    if (!out) {
        unlink(temporary.c_str()); // no destructor runs after a constructor that throws
        fail(sf_strerror(nullptr));
    }
    sf_command(out, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    // It holds the time of day: the same score must give the same bytes.
    sf_command(out, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
}

void sound_writer::write(const std::vector<double> &samples)
{
    const auto frames = static_cast<sf_count_t>(samples.size()) / info.channels;
    if (sf_writef_double(out, samples.data(), frames) != frames) fail(sf_strerror(out));
    written += frames;
    if (sized_in_32_bits(info.format) &&
        written * info.channels * bytes_per_sample(info.format) > small_file)
        fail("the format ends at 4 GB, .caf and .w64 do not");
}

void sound_writer::close()
{
    const int error = sf_error(out);
    const int closing = sf_close(std::exchange(out, nullptr));
    if (error || closing) fail(sf_error_number(error ? error : closing));
}

void sound_writer::finish()
{
    close();
    // Encoders write late and some keep quiet when the disk is full: ask the file itself.
    SF_INFO seen{};
    SNDFILE *in = sf_open(temporary.c_str(), SFM_READ, &seen);
    sf_close(in);
    if (seen.frames != written) fail("the disk took only a part of it");
    if (rename(temporary.c_str(), file.c_str())) fail(std::strerror(errno));
    temporary.clear();
}

bool sound_writer::clips() const
{
    const int coding = info.format & SF_FORMAT_SUBMASK;
    return coding != SF_FORMAT_FLOAT && coding != SF_FORMAT_DOUBLE;
}
