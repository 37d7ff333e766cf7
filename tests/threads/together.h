// Several threads at a time, as in a host with overdrive: audio, scheduler, and this one as the
// main.
#pragma once

#include "session.h"

#include <atomic>
#include <optional>
#include <thread>

class together : public session {
protected:
    void SetUp() override
    {
        session::SetUp();
        host::defer_at_once(true); // what this thread sends, the main thread sends
    }

    /// This thread and others act again and again, until all have done so this many times. How far
    /// one has come brings no order into what the others do.
    template <class Act, class... Acts>
    static void play(long times, Act own, Acts... others)
    {
        std::atomic<int> short_of_it{1 + sizeof...(others)};
        const auto repeat = [&](auto &act) {
            for (long done = 1; short_of_it.load(std::memory_order_relaxed) > 0; ++done) {
                act();
                if (done == times) short_of_it.fetch_sub(1, std::memory_order_relaxed);
            }
        };
        std::thread threads[] = {std::thread([&repeat, &others] { repeat(others); })...};
        repeat(own);
        for (std::thread &thread : threads) thread.join();
    }

    /// Messages that start or end fogs the host keeps apart from blocks and from one another.
    static void tell(vorb *x, int inlet, const std::string &selector, const host::atoms &values)
    {
        const bool starts = inlet == 0 && (selector == "bang" || selector == "float");
        std::optional<host::between_blocks> turn;
        if (starts || selector == "reset" || selector == "maxfogs") turn.emplace();
        send(x, inlet, selector.c_str(), values);
    }

    static void plug(vorb *x, int inlet, double constant)
    {
        host::connect(object(x), inlet);
        std::fill_n(host::input(object(x), inlet), 8192, constant);
    }
};
