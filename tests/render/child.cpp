// Runs the render program as a child process.
#include "child.h"

#include <csignal>
#include <fstream>
#include <iterator>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

static std::string text_of(const fs::path &file)
{
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

[[noreturn]] static void become_render(const fs::path &folder, const fs::path &streams,
                                       std::vector<std::string> arguments,
                                       const circumstances &around)
{
    std::vector<char *> argv;
    for (std::string &a : arguments) argv.push_back(a.data());
    argv.push_back(nullptr);
    const bool ready = !chdir(folder.c_str()) && freopen((streams / "out").c_str(), "w", stdout) &&
                       freopen((streams / "err").c_str(), "w", stderr);
    if (around.largest_file) {
        const auto bytes = static_cast<rlim_t>(around.largest_file);
        const rlimit limit{bytes, bytes};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (ready) execv(RENDER_PROGRAM, argv.data());
    _exit(127);
}

outcome run_render(const fs::path &folder, const std::vector<std::string> &arguments,
                   const circumstances &around)
{
    std::string made = (fs::temp_directory_path() / "streams-XXXXXX").string();
    const fs::path streams = mkdtemp(made.data());
    std::vector<std::string> argv{"render"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    const pid_t child = fork();
    if (child == 0) become_render(folder, streams, argv, around);
    if (around.interrupted_after_ms) {
        usleep(static_cast<useconds_t>(around.interrupted_after_ms) * 1000);
        kill(child, SIGTERM);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const outcome result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, text_of(streams / "out"),
                         text_of(streams / "err")};
    fs::remove_all(streams);
    return result;
}
