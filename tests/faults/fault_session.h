// What goes wrong is done to every kind of source that sounds: each layout with each number of
// channels that it plays.
#pragma once

#include "module_session.h"

#include <ostream>

struct sounding_source {
    int layout;
    long channels;

    /// Its fogs need their buffer in every block; those of the others need it to sound only.
    bool dies_without_buffer() const { return layout != 1 && layout != 10; }
};

inline void PrintTo(const sounding_source &s, std::ostream *out)
{
    *out << s.layout << " outlets, " << s.channels << " channels";
}

constexpr sounding_source sounding_sources[] = {{1, 1}, {2, 1}, {2, 2}, {4, 1},
                                                {4, 2}, {6, 1}, {6, 4}, {10, 1}};

class fault_session : public module_session, public ::testing::WithParamInterface<sounding_source> {
protected:
    static sounding_source source() { return GetParam(); }

    /// Its first channel sounds as that level wherever it is read.
    static void fill(double v, long frames = 44100, double rate = 44100,
                     const std::string &name = "sample1")
    {
        host::set_buffer(name, source().channels, rate,
                         std::vector<float>(static_cast<std::size_t>(frames * source().channels),
                                            static_cast<float>(v)));
    }

    static signal block(t_object *x) { return play(x, 1, 64)[0]; }

    static auto sounds_at(double v)
    {
        return ::testing::Each(::testing::DoubleNear(v, 4 * near_one));
    }

    static auto is_silent() { return ::testing::Each(0.0); }

    /// An instance of the layout with a fog that has played its first block, which is one of its
    /// own kind: heads come from elsewhere.
    static t_object *sounding()
    {
        t_object *x = player(source().layout);
        host::send(x, 0, "bang");
        host::run();
        return x;
    }
};

#define FOR_EVERY_SOURCE(fixture)                                                                  \
    INSTANTIATE_TEST_SUITE_P(by, fixture, ::testing::ValuesIn(sounding_sources),                   \
                             [](const auto &row) {                                                 \
                                 return "outlets_" + std::to_string(row.param.layout) +            \
                                        "_channels_" + std::to_string(row.param.channels);         \
                             })
