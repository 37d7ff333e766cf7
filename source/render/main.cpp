// render: plays a score off line and writes a sound file, a picture or both.
#include "failure.h"
#include "options.h"
#include "outputs.h"
#include "player.h"
#include "report.h"
#include "stage.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <new>
#include <unistd.h>

static volatile std::sig_atomic_t interrupted = 0;

/// A standard stream that is closed would lend its number to the next file, and what is printed
/// would end up in there.
static void open_standard_streams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDWR);
}

/// A disk quota and a closed pipe then show as failed writes, which remove the temporary file.
static void keep_failed_writes_quiet()
{
    for (const int s : {SIGXFSZ, SIGPIPE}) std::signal(s, SIG_IGN);
}

/// The second of a kind ends the program at once: a slow disk may keep the last file for long.
static void interrupt(int s)
{
    interrupted = 1;
    std::signal(s, SIG_DFL);
}

/// From here on an interrupt must remove temporary files. One that is ignored already, as under
/// nohup, stays so.
static void catch_interrupts()
{
    for (const int s : {SIGINT, SIGTERM, SIGHUP})
        if (std::signal(s, SIG_IGN) != SIG_IGN) std::signal(s, interrupt);
}

static void stop_at_faults()
{
    const auto faults = host::take_faults();
    for (const std::string &fault : faults) std::fprintf(stderr, "fault: %s\n", fault.c_str());
    if (!faults.empty()) throw std::runtime_error("the object broke the host's rules");
}

static void render(const options &o)
{
    const score notes = read_score(o.score);
    const sound_shelf sounds = load_sounds(notes);
    host::add_folder(o.externals);
    host::set_audio(o.rate, o.vector);
    const std::vector<t_object *> objects = make_objects(notes);
    check_events(notes, objects);
    player playing(notes, sounds, objects, o.rate, o.vector);
    catch_interrupts();
    outputs files(o, sounds, playing);
    report news(notes, objects);
    while (!playing.finished()) {
        if (interrupted) throw std::runtime_error("interrupted");
        const double ms = playing.now_ms();
        const std::vector<double> &block = playing.block();
        news.host_news();
        stop_at_faults();
        if (ms >= o.start_ms) files.write(block, ms);
        news.progress(playing.now_ms());
    }
    if (!files.frames()) throw bad_input(o.score + ": it ends before there is anything to write");
    const auto missing = host::unresolved();
    for (t_object *x : objects) host::destroy(x);
    news.host_news();
    stop_at_faults();
    files.finish();
    news.closing(files.names(), static_cast<double>(files.frames()) / o.rate, files.channels(),
                 files.peak(), files.clips());
    if (files.peak() == 0) news.missing_buffers(missing);
}

static void check_standard_output()
{
    if (std::fflush(stdout) || std::ferror(stdout))
        throw std::runtime_error("standard output cannot be written");
}

static int failed(const char *before, const std::exception &wrong, int status)
{
    std::fprintf(stderr, "%s%s\n", before, wrong.what());
    return status;
}

int main(int argc, char **argv)
{
    open_standard_streams();
    keep_failed_writes_quiet();
    try {
        if (const auto o = read_options(argc, argv)) render(*o);
        check_standard_output();
        return 0;
    } catch (const bad_line &wrong) {
        return failed("", wrong, 2);
    } catch (const bad_input &wrong) {
        return failed("render: ", wrong, 2);
    } catch (const std::bad_alloc &) {
        return failed("render: ", std::runtime_error("there is not enough memory"), 1);
    } catch (const std::exception &wrong) {
        return failed("render: ", wrong, 1);
    }
}
