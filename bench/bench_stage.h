// An instance whose fogs can be rendered again and again, by the fast path and by the plain loops.
#pragma once

#include "host.h"
#include "plain_walk.h"

#include <array>
#include <cmath>
#include <string>
#include <vector>

constexpr double bench_rate = 48000;

struct bench_scene {
    std::string name;
    double goal; // times as fast as the plain loops; 0: none
    long outlets = 2, channels = 1;
    int fogs = 100;
    std::string setting = ""; // messages before the fogs begin
    long vector = 64;
    double transposition = 1.37;
    double f0 = 0;  // Hz; 0: the fogs begin together and last for ever
    double amp = 0; // what their decay has left, where it is set
    bool flush = true;
};

class bench_stage {
public:
    explicit bench_stage(const bench_scene &scene) : s(scene)
    {
        host::reset();
        host::set_audio(bench_rate, s.vector);
        std::vector<float> samples(std::size_t(bench_rate) * std::size_t(s.channels));
        for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = std::sin(0.05f * float(i));
        host::set_buffer("bench", s.channels, bench_rate, samples);
        t_object *object = host::create("k.vorb~ " + std::to_string(s.outlets) + " bench 100 100 " +
                                        std::to_string(s.transposition) + " 1 0.1 0 1000000 0");
        x = reinterpret_cast<vorb *>(object);
        perform = vorb_find_layout(s.outlets)->perform;
        host::drain();
        host::send(object, 0, "silent 1");
        if (s.f0 > 0) host::connect(object, 0);
        host::start_audio();
        if (!s.setting.empty()) host::send(object, 0, s.setting);
        vorb_update(&x->inputs);
        inlets[0].assign(std::size_t(s.vector), s.f0);
        inlets[1].assign(std::size_t(s.vector), 0);
        for (std::size_t k = 0; k < ins.size(); ++k) ins[k] = inlets[k].data();
        for (std::size_t k = 0; k < outs.size(); ++k) {
            outlets[k].resize(std::size_t(s.vector));
            outs[k] = outlets[k].data();
        }
        if (s.f0 > 0)
            for (int block = 0; block < 100; ++block) fast();
        else begin();
    }
    ~bench_stage() { host::reset(); }
    bench_stage(const bench_stage &) = delete;

    /// One block, in whole or of fewer frames.
    void fast(long n)
    {
        perform(vorb_object(x), nullptr, ins.data(), 2, outs.data(), 10, n, 0, nullptr);
    }
    void fast() { fast(s.vector); }

    /// The same block, its fogs rendered one after another.
    void plain()
    {
        if (x->inputs.sig_f0) vorb_run_phasor(x, ins[0], ins[1], s.vector);
        for (long k = 0; k < s.outlets; ++k) vorb_clear(outs[std::size_t(k)], s.vector);
        plain::run_all(s.outlets, &x->inputs, outs.data(), s.vector);
    }

    /// Takes the heads of lasting fogs back, so that no block leaves the sample.
    void rewind()
    {
        for (const head &h : heads) {
            h.reader->pos_ms = h.pos_ms;
            h.reader->prev_pos = h.prev_pos;
        }
    }

    bool complete() const { return s.f0 > 0 || x->pool.maxfogs - x->pool.nfree == s.fogs; }

    vorb *x;

private:
    /// Past the first block, in which heads come from elsewhere.
    void begin()
    {
        for (int k = 0; k < s.fogs; ++k) {
            host::send(vorb_object(x), 0, "offset " + std::to_string(100 + 7 * k));
            host::send(vorb_object(x), 0, "bang");
        }
        host::run();
        for (vorb_fog *fog = x->pool.used; fog; fog = fog->next) {
            heads.push_back({&fog->reader, fog->reader.pos_ms, fog->reader.prev_pos});
            if (s.amp != 0) fog->amp = s.amp;
        }
    }

    struct head {
        vorb_fogread *reader;
        double pos_ms, prev_pos;
    };

    const bench_scene &s;
    t_perfroutine64 perform;
    std::array<std::vector<double>, 2> inlets;
    std::array<std::vector<double>, 10> outlets;
    std::array<double *, 2> ins;
    std::array<double *, 10> outs;
    std::vector<head> heads;
};
