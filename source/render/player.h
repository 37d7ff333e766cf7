// Plays a score through the host, block by block.
#pragma once

#include "score.h"
#include "sound_reader.h"

#include <host.h>

#include <map>
#include <utility>

class player {
public:
    /// `objects` are those of the score, in its order.
    player(const score &played, const sound_shelf &from, const std::vector<t_object *> &to,
           int sample_rate, int vector_size);

    /// The most signal outlets that an object has.
    int channels() const { return widest; }

    /// When the next block starts.
    double now_ms() const { return static_cast<double>(frame) * 1000 / rate; }
    bool finished() const;
    /// How many frames there will be.
    struct range {
        double least, most;
    };
    range length() const;
    /// Lets happen what is due, then plays one block: interleaved frames, outlet k of every object
    /// mixed into channel k. Throws bad_input when the sound does not end.
    const std::vector<double> &block();

private:
    struct plug {
        signal_line line;
        double start_ms;
    };

    void apply(const buffer_change &change);
    void apply(const message &sent);
    void apply(const signal_change &change);
    void feed();
    void mix();
    void listen();

    const score &notes;
    const sound_shelf &sounds;
    const std::vector<t_object *> &objects;
    int rate, vector, widest = 0;
    std::map<std::pair<size_t, int>, plug> plugs; // by object and inlet
    size_t next_event = 0;
    long long frame = 0;
    double last_ms = 0;  // of the last event, and of the last target of a signal
    double heard_ms = 0; // the end of the last block that sounded
    std::vector<double> mixed;
};
