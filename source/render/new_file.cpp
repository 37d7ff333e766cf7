// A file that is either whole or not there.
#include "new_file.h"

#include "failure.h"

#include <cerrno>
#include <cstdlib>
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
    std::string name = place.parent_path() / ".render.XXXXXX";
    opened = mkstemp(name.data());
    if (opened < 0) fail(std::strerror(errno));
    temporary = name;
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

void new_file::keep()
{
    if (close(std::exchange(opened, -1))) fail(std::strerror(errno));
    if (rename(temporary.c_str(), place.c_str())) fail(std::strerror(errno));
    temporary.clear();
}
