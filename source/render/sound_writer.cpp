// Writing a sound file.
#include "sound_writer.h"

#include "sound_format.h"

#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

static constexpr size_t batch = 1 << 14; // samples

static new_file &file_of(void *opaque) { return *static_cast<new_file *>(opaque); }

/// The library's way to the file. Its own one forgets why a write failed, and some of its encoders
/// forget that one did.
static SF_VIRTUAL_IO through_file{
    [](void *file) -> sf_count_t {
        struct stat now;
        return fstat(file_of(file).descriptor(), &now) ? -1 : now.st_size;
    },
    [](sf_count_t offset, int whence, void *file) -> sf_count_t {
        return lseek(file_of(file).descriptor(), offset, whence);
    },
    [](void *to, sf_count_t count, void *file) -> sf_count_t {
        return read(file_of(file).descriptor(), to, static_cast<size_t>(count));
    },
    [](const void *from, sf_count_t count, void *file) -> sf_count_t {
        return file_of(file).write(from, static_cast<size_t>(count)) ? count : 0;
    },
    [](void *file) -> sf_count_t { return lseek(file_of(file).descriptor(), 0, SEEK_CUR); }};

sound_writer::sound_writer(const std::filesystem::path &wanted, const SF_INFO &wanted_info)
    : file(wanted), info(wanted_info)
{
    out = sf_open_virtual(&through_file, SFM_WRITE, &info, &file);
    if (!out) {
        file.check();
        file.fail(sf_strerror(nullptr));
    }
    sf_command(out, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    sf_command(out, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE); // it holds the time of day
    // What might have been longer than a WAV file can be becomes one, if it is not.
    sf_command(out, SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
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
    const sf_count_t taken = sf_writef_double(out, waiting.data(), frames);
    file.check();
    if (taken != frames) file.fail(sf_strerror(out));
    waiting.clear();
    written += frames;
    if (!has_room(info, written)) file.fail(no_room);
}

/// The same score must give the same bytes, but the library has no RF64 without the time of day: it
/// stands beside the peaks, ahead of samples that can have any.
void sound_writer::forget_time()
{
    if ((info.format & SF_FORMAT_TYPEMASK) != SF_FORMAT_RF64 || clips(info)) return;
    std::string head(500, '\0');
    if (pread(file.descriptor(), head.data(), head.size(), 0) < 0) return;
    const size_t peaks = head.find("PEAK");
    if (peaks == head.npos) return;
    lseek(file.descriptor(), static_cast<off_t>(peaks) + 12, SEEK_SET);
    file.write("\0\0\0", 4);
}

void sound_writer::close()
{
    flush();
    const int error = sf_error(out);
    const int closing = sf_close(std::exchange(out, nullptr));
    forget_time();
    file.settle();
    if (error || closing) file.fail(sf_error_number(error ? error : closing));
}
