// Writing a sound file that is either whole or not there.
#include "sound_writer.h"

#include "failure.h"
#include "sound_format.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

/// Where a path leads, though there may be nothing yet; links that turn in a circle stay.
static fs::path behind_links(fs::path file)
{
    std::error_code none;
    for (int i = 0; i < 40 && fs::is_symlink(fs::symlink_status(file, none)); ++i)
        file = file.parent_path() / fs::read_symlink(file);
    return file;
}

sound_writer::sound_writer(const fs::path &wanted, const SF_INFO &wanted_info)
    : file(wanted), place(behind_links(wanted)), info(wanted_info)
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
    struct stat there;
    if (stat(place.c_str(), &there)) {
        if (errno != ENOENT) fail(std::strerror(errno));
        return;
    }
    if (!S_ISREG(there.st_mode)) fail("it is no ordinary file");
    if (access(place.c_str(), W_OK)) fail(std::strerror(errno));
}

/// Those of the file that is there, or of any new file.
static mode_t permissions(const fs::path &file)
{
    struct stat there;
    if (!stat(file.c_str(), &there)) return there.st_mode & 0777;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

void sound_writer::open_temporary()
{
    std::string name = place.string() + ".XXXXXX";
    const int descriptor = mkstemp(name.data());
    if (descriptor < 0) fail(std::strerror(errno));
    temporary = name;
    fchmod(descriptor, permissions(place));
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
    if (!has_room(info, written)) fail("the format ends at 4 GB, .caf and .w64 do not");
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
    if (rename(temporary.c_str(), place.c_str())) fail(std::strerror(errno));
    temporary.clear();
}
