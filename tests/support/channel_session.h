// What tests of samples with several channels share: the outlets of each renderer, samples whose
// channels can be told apart, and fogs that stand still in them.
#pragma once

#include "slow_reader.h"

/// A source channel, from 1, and a gain slot, from 0.
struct tap {
    size_t source, slot;
};

/// A renderer of samples of several channels.
struct renderer {
    size_t layout, channels;
    std::vector<tap> outlets;
};

const renderer renderers[] = {
    {2, 2, {{1, 0}, {2, 1}}},
    {4, 2, {{1, 0}, {2, 1}, {1, 8}, {2, 9}}},
    {6, 4, {{1, 0}, {2, 1}, {3, 2}, {4, 3}, {1, 8}, {1, 9}}},
};

class channel_session : public reading {
protected:
    /// A buffer whose channels hold 1, 2, 4, 8 ... times a level wherever it is read.
    void levels(long channels, double level = 1)
    {
        fill_channels(
            channels, 4000, [=](long, long c) { return level * double(1 << c); }, 1000);
    }

    /// Its fogs stand still in the sample, sound from the first block on, and last for a minute.
    vorb *standing(size_t layout)
    {
        vorb *made = create(std::to_string(layout) + " sample1 8 0 0 0 1 0 60000 0");
        send(made, 0, "list 3 5 7 11 13 17 19 23 29 31");
        host::start_audio();
        return made;
    }

    /// The last sample of each outlet after a block.
    static wave heard(vorb *of)
    {
        host::run();
        wave last;
        for (int k = 0; k < host::signal_outlets(object(of)); ++k)
            last.push_back(host::output(object(of), k)[63]);
        return last;
    }

    static auto near(const wave &values)
    {
        return ::testing::Pointwise(::testing::DoubleNear(1e-4), values);
    }

    static long used(const vorb *of) { return long(of->pool.maxfogs - of->pool.nfree); }
};
