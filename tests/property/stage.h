// Plays random scores to an instance whose records the tests can see.
#pragma once

#include "random_score.h"
#include "session.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

class stage : public session {
protected:
    using sound = std::vector<double>; // blocks one after another, in each the outlets in turn

    /// Makes a new instance for this score, as in a process in which nothing has played before.
    void open(const random_score &played)
    {
        TearDown();
        SetUp();
        silence_scratch();
        score = &played;
        block = 0;
        next = 0;
        plugs.clear();
        buffers.clear();
        tune(played.audio);
        x = create(played.arguments);
        host::start_audio();
    }

    /// Lets happen what is due, and plays one block.
    sound play_block()
    {
        for (; next < score->deeds.size() && score->deeds[next].block <= block; ++next) {
            std::visit([this](const auto &what) { happen(what); }, score->deeds[next].what);
            host::drain();
        }
        feed();
        host::run();
        ++block;
        sound heard;
        for (int outlet = 0; outlet < score->layout; ++outlet) {
            const double *out = host::output(object(x), outlet);
            heard.insert(heard.end(), out, out + audio.vector);
        }
        return heard;
    }

    /// The whole score, from a fresh start; `after` follows each block.
    sound play(const random_score &played, const std::function<void()> &after = {})
    {
        open(played);
        sound all;
        while (block < played.blocks) {
            const sound heard = play_block();
            all.insert(all.end(), heard.begin(), heard.end());
            if (after) after();
        }
        return all;
    }

    void unplug_all()
    {
        for (const int inlet : {0, 1}) happen(plugged{inlet, {}});
    }

    double block_ms() const { return static_cast<double>(audio.vector) * 1000 / audio.rate; }
    long used() const { return static_cast<long>(x->pool.maxfogs - x->pool.nfree); }

    vorb *x = nullptr;
    retuned audio{};
    long lost = 0; // buffers that went while a fog was in use, over all scores

private:
    /// Every instance shares the scratch, and what a reader leaves there is heard again.
    void silence_scratch()
    {
        host::set_audio(44100, widest_vector);
        create("1");
        host::start_audio();
        for (double *temp : {temp1, temp2, temp3, temp4}) std::fill_n(temp, widest_vector, 0.0);
        host::reset();
        host::set_time(100000);
    }

    void tune(const retuned &to)
    {
        audio = to;
        host::set_audio(to.rate, to.vector);
    }

    void happen(const told &m) { send(x, m.inlet, m.selector.c_str(), m.values); }
    void happen(const retuned &to) { tune(to); }

    void happen(const swapped &buffer)
    {
        if (buffer.channels) {
            host::set_buffer(buffer.name, buffer.channels, buffer.rate, buffer.samples());
            buffers.insert(buffer.name);
        } else if (buffers.erase(buffer.name)) {
            host::delete_buffer(buffer.name);
            if (used() > 0) ++lost;
        }
    }

    void happen(const plugged &cord)
    {
        host::connect(object(x), cord.inlet, cord.signal.empty() ? 0 : 1);
        plugs[cord.inlet] = {cord.signal, 0};
    }

    void feed()
    {
        for (auto &[inlet, from] : plugs) {
            double *in = host::input(object(x), inlet);
            for (long i = 0; i < audio.vector && !from.signal.empty(); ++i) {
                in[i] = from.signal[from.at];
                from.at = std::min(from.at + 1, from.signal.size() - 1);
            }
        }
    }

    struct plug {
        std::vector<double> signal;
        std::size_t at;
    };

    const random_score *score = nullptr;
    long block = 0;
    std::size_t next = 0;
    std::map<int, plug> plugs; // by inlet
    std::set<std::string> buffers;
};
