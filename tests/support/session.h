// A fresh session of the headless host with the object linked in. Every test must end without
// faults.
#pragma once

#include "common.h"
#include "k_vorb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

extern "C" void ext_main(void *);

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class session : public ::testing::Test {
protected:
    void SetUp() override
    {
        static const bool linked = (host::link(ext_main), true);
        static_cast<void>(linked);
        host::reset();
        host::set_time(100000); // far from 0, so that the first warning reports at once
        vorb_error_count = vorb_limitwarning_count = 0;
        vorb_error_lasttime = vorb_limitwarningr_lasttime = vorb_error_silent = 0;
    }

    void TearDown() override
    {
        EXPECT_THAT(host::take_faults(), IsEmpty());
        host::reset();
        EXPECT_THAT(host::take_faults(), IsEmpty()); // of the freeing
    }

    /// An instance with these creation arguments, its deferred calls done and its console emptied
    /// into `born`.
    vorb *create(const std::string &arguments = "")
    {
        const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~ " + arguments));
        host::drain();
        born = console();
        return x;
    }

    /// Numbers that left the integer outlet since the last call.
    static std::vector<t_atom_long> numbers()
    {
        std::vector<t_atom_long> values;
        for (const host::number &n : host::take_numbers()) values.push_back(n.value);
        return values;
    }

    static t_object *object(vorb *x) { return vorb_object(x); }

    static void send(vorb *x, int inlet, const std::string &text)
    {
        host::send(object(x), inlet, text);
    }

    static void send(vorb *x, int inlet, const char *selector, const host::atoms &arguments)
    {
        host::send(object(x), inlet, selector, arguments);
    }

    /// Runs one block and returns what it left at an outlet.
    static std::vector<double> block(vorb *x, int outlet = 0, long frames = 64)
    {
        host::run(frames == 64 ? 0 : frames);
        const double *out = host::output(object(x), outlet);
        return {out, out + frames};
    }

    std::vector<std::string> born;
};
