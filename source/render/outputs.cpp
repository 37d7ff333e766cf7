// What a render leaves behind: a sound file, a picture of it, or both.
#include "outputs.h"

#include "failure.h"
#include "sound_format.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace fs = std::filesystem;

static void check_reads(const fs::path &file, const options &o, const sound_shelf &sounds)
{
    std::error_code none;
    if (fs::equivalent(file, o.score, none))
        throw bad_input(file.string() + ": that is the score itself");
    for (const auto &[read, unused] : sounds)
        if (fs::equivalent(file, read, none))
            throw bad_input(file.string() + ": the score itself plays that file");
}

outputs::outputs(const options &o, const sound_shelf &sounds, const player &playing)
    : outlets(playing.channels()), sound_name(o.output), picture_name(o.picture)
{
    if (o.stereo) law = &fold_law(*o.stereo, outlets);
    if (!sound_name.empty()) {
        check_reads(sound_name, o, sounds);
        const SF_INFO format = sound_format(o, playing.length());
        cuts = ::clips(format);
        sound.emplace(sound_name, format);
    }
    if (!picture_name.empty()) {
        check_reads(picture_name, o, sounds);
        if (ending(picture_name) != "png")
            throw bad_input(picture_name.string() + ": a picture's ending must be png");
        drawn.emplace(picture_name, words(o), o.rate, o.picture_top);
        if (sound && fs::weakly_canonical(sound->destination()) ==
                         fs::weakly_canonical(drawn->destination()))
            throw bad_input(picture_name.string() + ": that is the sound file too");
    }
}

/// What can be known to be too long is not begun.
SF_INFO outputs::sound_format(const options &o, const player::range &length) const
{
    const auto left = [&](double frames) {
        return static_cast<sf_count_t>(std::max(0.0, frames - o.start_ms * o.rate / 1000));
    };
    const SF_INFO format =
        with_room(choose_format(sound_name, o.format, channels(), o.rate), left(length.most));
    if (!has_room(format, left(length.least)))
        throw bad_input(sound_name.string() + ": cannot be written: " + no_room);
    return format;
}

caption outputs::words(const options &o) const
{
    caption c{fs::path(o.score).filename().string(), std::to_string(o.rate) + " Hz", {}};
    if (law) {
        c.settings += ", folded to stereo" + (*o.stereo == "auto" ? "" : ": " + *o.stereo);
        c.lane_names = {"left", "right"};
    } else
        for (int k = 1; k <= outlets; ++k) c.lane_names.push_back("outlet " + std::to_string(k));
    return c;
}

void outputs::write(const std::vector<double> &block, double ms)
{
    if (!written) first_ms = ms;
    written += static_cast<long>(block.size()) / outlets;
    if (law) folded = fold(block, outlets, *law);
    const std::vector<double> &heard = law ? folded : block;
    for (const double v : heard) loudest = std::max(loudest, std::abs(v));
    if (sound) sound->write(heard);
    if (drawn) drawn->write(heard);
}

void outputs::finish()
{
    if (sound) sound->close();
    if (drawn) drawn->close(first_ms / 1000);
    if (sound) sound->keep();
    if (drawn) drawn->keep();
}

std::string outputs::names() const
{
    if (sound && drawn) return sound_name.string() + " and " + picture_name.string();
    return (sound ? sound_name : picture_name).string();
}
