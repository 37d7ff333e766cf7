// What a render leaves behind: a sound file, a picture of it, or both.
#pragma once

#include "fold.h"
#include "options.h"
#include "picture.h"
#include "player.h"
#include "sound_writer.h"

#include <optional>

class outputs {
public:
    /// For what a player will play. Throws bad_input.
    outputs(const options &from, const sound_shelf &sounds, const player &playing);

    /// Interleaved frames, which start at a time of the score.
    void write(const std::vector<double> &block, double ms);
    /// Lets the files appear, but none before all are complete. Throws bad_input.
    void finish();

    std::string names() const;
    int channels() const { return law ? 2 : outlets; }
    long frames() const { return written; }
    double peak() const { return loudest; }
    /// Whether what lies beyond full scale was cut.
    bool clips() const { return cuts; }

private:
    SF_INFO sound_format(const options &from, const player::range &length) const;
    caption words(const options &from) const;

    int outlets;
    const std::vector<ears> *law = nullptr; // to fold by
    std::optional<sound_writer> sound;
    std::optional<picture> drawn;
    std::filesystem::path sound_name, picture_name;
    std::vector<double> folded;
    double first_ms = 0;
    long written = 0;
    double loudest = 0;
    bool cuts = false;
};
