// Runs the render program as a child process.
#include "child.h"

#include <fstream>
#include <iterator>
#include <pty.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

static std::string text_of(const fs::path &file)
{
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// A terminal, or a pipe whose reading end is closed, or nothing.
struct outlook {
    explicit outlook(const circumstances &around)
    {
        int ends[2];
        if (around.terminal && !openpty(&ours, &theirs, nullptr, nullptr, nullptr)) return;
        if (!around.deaf || pipe(ends)) return;
        close(ends[0]);
        theirs = ends[1];
    }
    ~outlook()
    {
        if (ours >= 0) close(ours);
    }
    outlook(const outlook &) = delete;

    /// All that is written until nobody can write any more.
    std::string read_all()
    {
        if (theirs >= 0) close(theirs);
        std::string text;
        char some[1000];
        for (ssize_t n; ours >= 0 && (n = read(ours, some, sizeof some)) > 0;)
            text.append(some, static_cast<size_t>(n));
        return text;
    }

    int ours = -1, theirs = -1;
};

static void limit_files(long bytes)
{
    const rlimit limit{static_cast<rlim_t>(bytes), static_cast<rlim_t>(bytes)};
    setrlimit(RLIMIT_FSIZE, &limit);
}

[[noreturn]] static void become_render(const fs::path &folder, const fs::path &streams,
                                       std::vector<std::string> arguments,
                                       const circumstances &around, int error_stream)
{
    std::vector<char *> argv;
    for (std::string &a : arguments) argv.push_back(a.data());
    argv.push_back(nullptr);
    const fs::path out = around.out.empty() ? streams / "out" : fs::path(around.out);
    const bool ready = !chdir(folder.c_str()) && freopen(out.c_str(), "w", stdout) &&
                       freopen((streams / "err").c_str(), "w", stderr) &&
                       (error_stream < 0 || dup2(error_stream, STDERR_FILENO) >= 0);
    if (around.largest_file) limit_files(around.largest_file);
    for (const int s : {SIGPIPE, SIGHUP, SIGINT, SIGTERM}) // whatever the tests were started from
        std::signal(s, s == around.ignored ? SIG_IGN : SIG_DFL);
    for (int stream = 0; around.closed && stream < 3; ++stream) close(stream);
    if (!around.refused.empty() && !refuse(around.refused)) _exit(126);
    if (ready) execv(RENDER_PROGRAM, argv.data());
    _exit(127);
}

/// What the child's new files in a folder hold by now: those that have no name yet, or none to
/// stay.
static long held(pid_t child, const fs::path &folder)
{
    long bytes = 0;
    std::error_code none;
    for (const auto &entry :
         fs::directory_iterator("/proc/" + std::to_string(child) + "/fd", none)) {
        const fs::path file = fs::read_symlink(entry, none);
        const char first = (file.filename().string() + ' ')[0];
        struct stat now;
        if (file.parent_path() == folder && (first == '#' || first == '.') &&
            !stat(entry.path().c_str(), &now))
            bytes += now.st_size;
    }
    return bytes;
}

static void interrupt(pid_t child, const fs::path &folder, const circumstances &around)
{
    const fs::path place = fs::canonical(folder);
    for (int ms = 0; ms < 10000 && held(child, place) < around.interrupted_at_bytes; ++ms)
        usleep(1000);
    usleep(static_cast<useconds_t>(around.interrupted_after_ms) * 1000);
    kill(child, around.interrupt);
}

outcome run_render(const fs::path &folder, const std::vector<std::string> &arguments,
                   const circumstances &around)
{
    std::string made = (fs::temp_directory_path() / "streams-XXXXXX").string();
    const fs::path streams = mkdtemp(made.data());
    std::vector<std::string> argv{"render"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    outlook errors(around);
    const pid_t child = fork();
    if (child == 0) become_render(folder, streams, argv, around, errors.theirs);
    if (around.interrupted_after_ms || around.interrupted_at_bytes)
        interrupt(child, folder, around);
    const std::string seen = errors.read_all();
    int status = 0;
    rusage used{};
    wait4(child, &status, 0, &used);
    const outcome result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, text_of(streams / "out"),
                         around.terminal ? seen : text_of(streams / "err"), used.ru_maxrss};
    fs::remove_all(streams);
    return result;
}
