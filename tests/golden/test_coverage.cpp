// Between them the golden scores send every message, reach every inlet, and play every layout with
// every kind of sound that it takes.
#include "golden_files.h"
#include "score.h"
#include "score_folder.h"
#include "stage.h"
#include "words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <host.h>

#include <set>

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;

namespace {

using words = std::set<std::string>;

/// What the message that these atoms make is called.
std::string selector_of(const host::atoms &atoms)
{
    if (atoms[0].a_type == A_SYM) return atoms[0].a_w.w_sym->s_name;
    return atoms.size() > 1 ? "list" : atoms[0].a_type == A_LONG ? "int" : "float";
}

class coverage : public ::testing::Test {
protected:
    void SetUp() override
    {
        host::unload();
        for (const auto &file : golden_scores()) read(file);
    }

    void TearDown() override { host::unload(); }

    words sent;    // "tex 0": the message at the left inlet; "signal 1"
    words firsts;  // "debatt all": a message at the left inlet with its first word
    words layouts; // "4 2": four outlets, a sound of two channels
    std::string transcripts;

private:
    void read(const std::filesystem::path &file)
    {
        const score notes = read_score(file);
        for (const event &e : notes.events) {
            if (const auto *m = std::get_if<message>(&e.what)) read(*m);
            if (const auto *s = std::get_if<signal_change>(&e.what))
                sent.insert("signal " + std::to_string(s->inlet));
        }
        const sound_shelf sounds = load_sounds(notes);
        if (notes.objects.size() == 1 && sounds.size() == 1) // else who knows who plays what
            layouts.insert(std::string(words_of(notes.objects[0].text)[1]) + " " +
                           std::to_string(sounds.begin()->second.channels));
        if (const auto kept = read_golden(file))
            for (const std::string &line : kept->transcript) transcripts += line + '\n';
    }

    void read(const message &m)
    {
        for (const std::string_view part : parts_of(m.text)) {
            const host::atoms atoms = host::parse(part);
            const std::string selector = selector_of(atoms);
            sent.insert(selector + " " + std::to_string(m.inlet));
            if (m.inlet == 0 && atoms.size() > 1)
                firsts.insert(selector + (atoms[1].a_type == A_SYM
                                              ? std::string(" ") + atoms[1].a_w.w_sym->s_name
                                              : " number"));
        }
    }
};

TEST_F(coverage, every_message_is_sent)
{
    const auto all = host::selectors(host::create("k.vorb~"));
    EXPECT_GT(all.size(), 30U);
    for (const std::string &selector : all) EXPECT_THAT(sent, Contains(selector + " 0"));
    EXPECT_THAT(firsts, IsSupersetOf({"debatt all", "debatt number"}));
}

TEST_F(coverage, every_inlet_is_reached)
{
    for (int inlet = 0; inlet < 9; ++inlet) {
        EXPECT_THAT(sent, Contains("float " + std::to_string(inlet)));
        EXPECT_THAT(sent, Contains("int " + std::to_string(inlet)));
    }
    EXPECT_THAT(sent, IsSupersetOf({"signal 0", "signal 1", "all 6"}));
    for (const char *spatial :
         {"list", "gain", "pan", "pan8", "panb", "angle", "direction", "polar", "aux1", "aux2"})
        EXPECT_THAT(sent, Contains(std::string(spatial) + " 4"));
}

TEST_F(coverage, every_layout_plays_every_kind_of_sound)
{
    EXPECT_THAT(layouts, IsSupersetOf({"1 1", "2 1", "4 1", "6 1", "10 1", "2 2", "4 2", "6 4"}));
}

/// Messages that do without arguments, or with a count that the host itself sees to.
const words any_count = {"bang", "reset", "freefogs", "usedfogs", "maxfogs", "silent", "set",
                         "list", "limit", "test",     "int",      "float",   "all"};

TEST_F(coverage, every_missing_argument_is_told)
{
    for (const std::string &selector : host::selectors(host::create("k.vorb~")))
        if (!any_count.count(selector)) {
            EXPECT_THAT(transcripts, HasSubstr("insufficient arguments for " + selector));
        }
}

TEST_F(coverage, every_kind_of_complaint_is_told)
{
    for (const char *text :
         {"illegal channel count", "maxfogs out of range", "limits out of range", "out of fogs",
          "fogs upper limit reached", "expected number argument", "signal vector size = 128",
          "sum of envelope segments is zero", "gain must be greater than 0", "scaler = ", "n2 (",
          "enter vorb_run_phasor", "sig_offset=1", "out of range ["})
        EXPECT_THAT(transcripts, HasSubstr(text));
}

TEST_F(coverage, no_golden_outlives_its_score)
{
    for (const auto &entry : std::filesystem::directory_iterator(GOLDEN_SCORES))
        EXPECT_TRUE(exists(std::filesystem::path(entry.path()).replace_extension(".score")))
            << entry.path();
}

} // namespace
