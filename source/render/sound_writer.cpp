// Writing a sound file.
#include "sound_writer.h"

#include "sound_format.h"

#include <utility>

static constexpr size_t batch = 1 << 14; // samples

sound_writer::sound_writer(const std::filesystem::path &wanted, const SF_INFO &wanted_info)
    : file(wanted), info(wanted_info)
{
    out = sf_open_fd(file.descriptor(), SFM_WRITE, &info, SF_FALSE);
    if (!out) file.fail(sf_strerror(nullptr));
    sf_command(out, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    // It holds the time of day: the same score must give the same bytes.
    sf_command(out, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
}

sound_writer::~sound_writer()
{
    if (out) sf_close(out);
}

void sound_writer::write(const std::vector<double> &samples)
{
    waiting.insert(waiting.end(), samples.begin(), samples.end());
    if (waiting.size() >= batch) flush();
}

void sound_writer::flush()
{
    const auto frames = static_cast<sf_count_t>(waiting.size()) / info.channels;
    if (sf_writef_double(out, waiting.data(), frames) != frames) file.fail(sf_strerror(out));
    waiting.clear();
    written += frames;
    if (!has_room(info, written)) file.fail("the format ends at 4 GB, .caf and .w64 do not");
}

void sound_writer::close()
{
    flush();
    const int error = sf_error(out);
    const int closing = sf_close(std::exchange(out, nullptr));
    if (error || closing) file.fail(sf_error_number(error ? error : closing));
    // Encoders write late and some keep quiet when the disk is full: ask the file itself.
    SF_INFO seen{};
    SNDFILE *in = sf_open(file.temporary_name().c_str(), SFM_READ, &seen);
    sf_close(in);
    if (seen.frames != written) file.fail("the disk took only a part of it");
}
