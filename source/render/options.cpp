// The command line.
#include "options.h"

#include "failure.h"
#include "fold.h"
#include "sound_format.h"
#include "words.h"

#include <CLI/CLI.hpp>

#include <iostream>

static const char description[] =
    R"(Plays a score through an object, faster than real time, and writes a sound file,
a picture of it, or both.

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

With --stereo each outlet goes to both ears by the law that their number chooses
(auto), or by another:
  mono, sides  1 outlet, to both; 2, as they are
  quad         4 or 6: loudspeakers at -45, 45, 135 and 225 degrees
  ring         10: a ring of eight, its first two at -22.5 and 22.5 degrees
  cube         the eight corners of `direction` and `polar`
  bformat      W, X, Y, Z as two cardioids that face left and right
Outlets that a law does not name, such as sends, are left out.

A picture is scaled so that a full-scale sine in one channel is 0 dB; its time is
that of the score. Its windows of 46 ms part the harmonics of a voice from 80 Hz.

Exit status: 0 done, 2 the score, the command line or a file is at fault, 1
anything else.)";

std::optional<options> read_options(int argc, char **argv)
{
    options o;
    CLI::App app(description, "render");
    app.footer(footer);
    app.add_option("SCORE", o.score, "the score to play")->required();
    CLI::Option *output =
        app.add_option("-o,--output", o.output,
                       "the sound file to write; its ending chooses the kind: " + format_endings());
    CLI::Option *picture = app.add_option(
        "--picture", o.picture,
        "the .png file to draw the sound in: waveforms, spectrogram and mean spectrum");
    app.add_option("--picture-top", o.picture_top, "the highest frequency of the picture, in Hz")
        ->check(CLI::Range(100, 384000))
        ->needs(picture)
        ->capture_default_str();
    app.add_flag(
        "--stereo{auto}", o.stereo,
        "fold the outlets down to two channels, for headphones; --stereo=LAW names a law: " +
            fold_names());
    app.add_option("--format", o.format,
                   "how samples are stored: " + format_words() +
                       "; by default the first of these that the kind of file takes")
        ->needs(output);
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
    CLI::Option *externals =
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
    if (!externals->count())
        o.externals =
            std::filesystem::read_symlink("/proc/self/exe").parent_path() / "../externals";
    if (!(o.start_ms >= 0 && o.start_ms <= longest_ms))
        throw bad_input("--start lies between 0 and 24 hours, in ms");
    for (const char *name : {"SCORE", "--output", "--picture"})
        if (app.count(name) && app[name]->results()[0].empty())
            throw bad_input(std::string(name) + " is empty");
    if (o.output.empty() && o.picture.empty()) throw bad_input("--output or --picture is required");
    return o;
}
