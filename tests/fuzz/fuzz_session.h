// A session with the headless host that bytes direct, looked at after each step.
#pragma once

#include "byte_reader.h"
#include "host.h"

#include <string>
#include <vector>

class fuzz_session {
public:
    /// Tame: all numbers are moderate, and every sound must be finite.
    fuzz_session(const byte_reader &from, bool is_tame, bool memory_fails)
        : bytes(from), tame(is_tame), memory_failed(memory_fails)
    {
    }

    /// From a fresh start, through what the bytes say, to what must go on sounding.
    void play();

private:
    /// An instance, and the vector size it alone has; 0: the session's.
    struct player {
        t_object *object;
        long own_vector;
    };

    // What a byte chooses. Without a player those that need one do nothing.
    void make();
    void free_one();
    void tell();
    void plug();
    void change_buffer();
    void change_buffer_between_calls();
    void tune();
    void tune_one();
    void block();
    void switch_audio();
    void fail_memory();
    void defer();
    void pass_time();
    void look();

    // What they choose among.
    player &any_player() { return players[bytes.byte() % players.size()]; }
    double number() { return tame ? bytes.tame_number() : bytes.number(); }
    double rate();
    t_atom atom(bool only_whole);
    void change_buffer_now(bool may_delete);
    std::vector<float> samples(long channels);

    void run(long frames);
    long frames_of(const player &p, long frames) const;
    void check_step();
    void check_sound(const player &p, long frames) const;
    void recover();

    byte_reader bytes;
    const bool tame;
    bool memory_failed;
    long session_vector = 64;
    long frames_left = 30000; // over all instances, so that no input takes long
    std::vector<player> players;
};
