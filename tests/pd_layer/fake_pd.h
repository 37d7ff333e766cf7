// A Pd for tests, behind the adapter's bridge: arrays that come, change and go, a console, a clock.
#pragma once

#include "pd_bridge.h"

#include <map>
#include <string>
#include <vector>

namespace fake {

/// Pd's cells are wider than the numbers in them.
struct cell {
    float value, rubbish;
};

struct patch {
    std::map<std::string, std::vector<cell>> arrays;
    std::vector<std::string> console;
    double rate = 44100;
    double ms = 0;
    long copied = 0, looked_up = 0; // cells read, arrays asked for
    bool several = false;           // every name has two arrays
    bool in_one_tick = false;       // all blocks that follow
    bool refresh_asked = false;     // for after the tick
};

extern patch now;

/// Makes or replaces an array.
void set_array(const std::string &name, size_t frames, float value);

/// An instance whose signal inlets hear constants.
class player {
public:
    explicit player(std::vector<vorb_pd::atom> arguments, int block_size = 64);
    ~player() { vorb_pd::destroy(x); }
    player(const player &) = delete;

    void plug(bool f0, bool offset);
    /// What left the integer outlet, or -1.
    int send(const char *selector, std::vector<vorb_pd::atom> arguments = {}, int inlet = 0);
    void refresh() { vorb_pd::refresh(x); }
    /// One block; the first outlet's.
    const std::vector<float> &run(float f0 = 0, float offset = 0);
    /// Its loudest sample.
    float peak(float f0 = 0, float offset = 0);

private:
    const int frames;
    bool plugged[2] = {false, false};
    std::vector<std::vector<float>> wires; // inlets and outlets share them
    vorb_pd::instance *x;
};

} // namespace fake
