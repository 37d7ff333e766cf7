// The command line.
#include "options.h"

#include "failure.h"
#include "sound_format.h"
#include "words.h"

#include <CLI/CLI.hpp>

#include <iostream>

static const char description[] =
    R"(Plays a score through an object, faster than real time, and writes a sound file.

A score is plain text, a line for whatever one would type in the host:

    # a buffer~ and its sound file, relative to the score; an object's box
    buffer  sample1 media/word.wav
    object  v k.vorb~ 2 sample1 20 0 1 60 0.5 4 40 15 1
    # a time in ms, an object, an inlet, then a signal: constant ...
    0       v 0 signal 110
    # ... or straight lines: a start, then pairs of target and time in ms
    0       v 1 signal 150 650 6000
    # a message (and `signal off` unplugs)
    1500    v 0 tex 12
    # buffers come, change and, with a name alone, go
    4000    buffer sample1 media/other.wav
    9000    end

Without an end line the render stops one second after the last event and the
last target of a signal, when all has been below -120 dBFS for that second. What
still sounds ten minutes after them is refused: it needs an end line.)";

static const char footer[] = R"(Example:
  render examples/choir.score -o choir.wav

Exit status: 0 done, 2 the score or the command line is wrong, 1 anything else.)";

std::optional<options> read_options(int argc, char **argv)
{
    options o;
    o.externals = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "../externals";
    CLI::App app(description, "render");
    app.footer(footer);
    app.add_option("SCORE", o.score, "the score to play")->required();
    app.add_option("-o,--output", o.output,
                   "the sound file to write; its ending chooses the kind: " + format_endings())
        ->required();
    app.add_option("--format", o.format,
                   "how samples are stored: " + format_words() +
                       "; by default the first of these that the kind of file takes");
    app.add_option("--rate", o.rate, "sample rate in Hz")
        ->check(CLI::Range(1000, 768000))
        ->capture_default_str();
    app.add_option("--vector", o.vector,
                   "frames per block, at whose start events take effect; "
                   "some objects complain of more than 64")
        ->check(CLI::Range(1, 8192))
        ->capture_default_str();
    app.add_option("--start", o.start_ms,
                   "write only what sounds from this time on, in ms, up to 24 hours")
        ->capture_default_str();
    app.add_option("--externals", o.externals, "the folder with the externals")
        ->check(CLI::ExistingDirectory);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        std::cout << app.help();
        return std::nullopt;
    } catch (const CLI::ParseError &wrong) {
        throw bad_input(wrong.what());
    }
    if (!(o.start_ms >= 0 && o.start_ms <= longest_ms))
        throw bad_input("--start lies between 0 and 24 hours, in ms");
    if (o.output.empty()) throw bad_input("--output is empty");
    return o;
}
