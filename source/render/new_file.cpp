// A file that is either whole or not there.
#include "new_file.h"

#include "failure.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
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

/// Those of the file that is there, or of any new file.
static mode_t permissions(const fs::path &file)
{
    struct stat there;
    if (!stat(file.c_str(), &there)) return there.st_mode & 0777;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

new_file::new_file(const fs::path &wanted) : file(wanted), place(behind_links(wanted))
{
    check_place();
    const fs::path folder = place.parent_path();
    opened = open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (opened < 0) {
        std::string with_name = folder / ".render.XXXXXX";
        opened = mkostemp(with_name.data(), O_CLOEXEC);
        if (opened < 0) fail(std::strerror(errno));
        temporary = with_name;
    }
    fchmod(opened, permissions(place));
}

new_file::~new_file()
{
    if (opened >= 0) close(opened);
    if (!temporary.empty()) unlink(temporary.c_str());
}

void new_file::fail(const std::string &why) const
{
    throw bad_input(file.string() + ": cannot be written: " + why);
}

// A rename would replace a device, or a file protected from writing, without asking.
void new_file::check_place() const
{
    struct stat there;
    if (stat(place.c_str(), &there)) {
        if (errno != ENOENT) fail(std::strerror(errno));
        return;
    }
    if (!S_ISREG(there.st_mode)) fail("it is no ordinary file");
    if (access(place.c_str(), W_OK)) fail(std::strerror(errno));
}

bool new_file::write(const void *bytes, size_t count)
{
    for (auto from = static_cast<const char *>(bytes); count;) {
        const ssize_t n = ::write(opened, from, count);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            if (!trouble) trouble = errno;
            return false;
        }
        from += n;
        count -= static_cast<size_t>(n);
    }
    return true;
}

void new_file::check() const
{
    if (trouble) fail(std::strerror(trouble));
}

void new_file::settle()
{
    if (!trouble && fsync(opened)) trouble = errno;
    check();
}

/// A file without a name can take a new one, but no name of another file.
void new_file::name()
{
    const std::string nameless = "/proc/self/fd/" + std::to_string(opened);
    const std::string start = place.parent_path() / ".render.";
    for (long k = getpid();; ++k) { // one that was killed here before may have left its own
        const std::string next = start + std::to_string(k);
        if (!linkat(AT_FDCWD, nameless.c_str(), AT_FDCWD, next.c_str(), AT_SYMLINK_FOLLOW)) {
            temporary = next;
            return;
        }
        if (errno != EEXIST) fail(std::strerror(errno));
    }
}

void new_file::keep()
{
    if (temporary.empty()) name();
    if (rename(temporary.c_str(), place.c_str())) fail(std::strerror(errno));
    temporary.clear();
    close(std::exchange(opened, -1));
}
