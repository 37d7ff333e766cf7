// A fresh session of the headless host in which the built external is loaded from its file. Every
// test must end without faults.
#pragma once

#include "common.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

class module_session : public ::testing::Test {
protected:
    using signal = std::vector<double>;

    void SetUp() override
    {
        static const bool added = (host::add_folder(EXTERNALS_FOLDER), true);
        static_cast<void>(added);
        host::unload(); // scratch and warning counters as at first load
        host::set_time(100000);
    }

    void TearDown() override
    {
        EXPECT_THAT(host::take_faults(), ::testing::IsEmpty());
        host::reset();
        EXPECT_THAT(host::take_faults(), ::testing::IsEmpty()); // of the freeing
    }

    /// An instance with its deferred calls done and the console emptied.
    static t_object *create(const std::string &arguments)
    {
        t_object *x = host::create("k.vorb~ " + arguments);
        host::drain();
        host::take_console();
        return x;
    }

    /// How near to a constant buffer its interpolation comes: the weights are floats.
    static constexpr double near_one = 1e-6;

    /// A buffer that sounds like a constant.
    static void level(const std::string &name, double v, double rate = 44100)
    {
        mono_buffer(
            name, 44100, [v](long) { return v; }, rate);
    }

    /// An instance of a layout whose fogs last 50 ms (2205 samples) and hold their level.
    static t_object *player(int layout)
    {
        t_object *x = create(std::to_string(layout) + " sample1 5 0 1 0 1 0 50.01 0");
        host::start_audio();
        return x;
    }

    /// Leaves zeros in the scratch, which a block that the reader does not write repeats: a fog
    /// without a buffer writes zeros.
    static void silence_scratch()
    {
        t_object *mute = create("1 none");
        host::start_audio();
        host::send(mute, 0, "bang");
        host::run();
        host::destroy(mute);
    }

    /// Runs blocks of `n` frames and returns what they left at each signal outlet; `before` runs
    /// ahead of each block.
    static std::vector<signal> play(t_object *x, long blocks, long n,
                                    const std::function<void(long block)> &before = {})
    {
        std::vector<signal> out(static_cast<std::size_t>(host::signal_outlets(x)));
        for (long block = 0; block < blocks; ++block) {
            if (before) before(block);
            host::run();
            for (std::size_t o = 0; o < out.size(); ++o) {
                const double *block_out = host::output(x, static_cast<int>(o));
                out[o].insert(out[o].end(), block_out, block_out + n);
            }
        }
        return out;
    }

    /// The number that a query such as freefogs sends.
    static long ask(t_object *x, const char *query)
    {
        host::take_numbers();
        host::send(x, 0, query);
        const std::vector<host::number> answer = host::take_numbers();
        return answer.size() == 1 ? static_cast<long>(answer[0].value) : -1;
    }
};
