// The reference is true: what its tables say of inlets, outlets, creation arguments and console
// lines is what the object shows. All names and values come from the document.
#include "reference_session.h"

#include <algorithm>
#include <limits>
#include <set>

namespace {

using ::testing::ElementsAre;

// ---- Inlets and outlets -------------------------------------------------------------------------

TEST_F(reference, inlets_have_their_assist_texts)
{
    t_object *x = create("");
    const auto &rows = table_with(text(), "Assist text");
    ASSERT_EQ(int(rows.size()), host::inlets(x));
    for (const row &r : rows)
        EXPECT_EQ(host::assist(x, ASSIST_INLET, std::stol(r["Inlet"])),
                  quoted(r["Assist text"]).at(0))
            << at(r);
}

TEST_F(reference, outlets_have_their_assist_texts)
{
    for (const row &r : table_with(text(), "Assist texts, from left to right")) {
        t_object *x = create(r["OUTLETS"]);
        const auto texts = quoted(r["Assist texts, from left to right"]);
        ASSERT_EQ(texts.size(), host::outlets(x).size()) << at(r);
        for (size_t k = 0; k < texts.size(); ++k) {
            EXPECT_EQ(host::assist(x, ASSIST_OUTLET, long(k)), texts[k]) << at(r);
            const std::string type = "(" + host::outlets(x)[k];
            EXPECT_EQ(texts[k].compare(0, type.size(), type), 0) << at(r);
        }
    }
}

TEST_F(reference, layouts_are_the_counts_of_outlets_listed_and_no_others)
{
    std::set<int> listed;
    for (const row &r : table_with(text(), "Assist texts, from left to right"))
        listed.insert(std::stoi(r["OUTLETS"]));
    for (int n = -1; n <= 12; ++n) {
        host::unload();
        t_object *x = host::create("k.vorb~ " + std::to_string(n));
        EXPECT_EQ(host::signal_outlets(x), listed.count(n) ? n : 1);
        EXPECT_EQ(console().size(), listed.count(n) ? 1u : 2u) << "the banner, and a complaint";
    }
}

TEST_F(reference, outlets_carry_the_amplitudes_and_channels_listed)
{
    const auto &rows = table_with(text(), "Channels of the sample");
    const auto level = [](int channel) { return std::pow(11, -channel); }; // no product twice
    for (const int layout : layouts)
        for (int channels = 1; channels <= 5; ++channels) {
            std::string expected, where = "no row";
            for (const row &r : rows)
                if (r["OUTLETS"] == std::to_string(layout) &&
                    r["Channels of the sample"] == std::to_string(channels)) {
                    expected = r["Outlets: amplitude × channel"];
                    where = at(r);
                }
            std::vector<float> samples;
            for (int i = 0; i < 4410 * channels; ++i) samples.push_back(float(level(i % channels)));
            host::set_buffer("sample1", channels, sample_rate, samples);
            t_object *x = create(std::to_string(layout));
            host::start_audio();
            host::send(x, 0, "0.1 0.2 0.3 0.4 0.5 0.6 0.7 0.8 0.9 1., bang");
            play(x, 3, 64);
            std::string heard;
            for (int k = 0; k < layout; ++k)
                for (int amplitude = 1; amplitude <= 10; ++amplitude)
                    for (int channel = 1; channel <= channels; ++channel)
                        if (std::abs(host::output(x, k)[63] -
                                     0.1 * amplitude * level(channel - 1)) < near_one)
                            heard += (k ? ", " : "") + std::to_string(amplitude) + "×" +
                                     std::to_string(channel);
            EXPECT_EQ(heard, expected)
                << where << ": " << layout << " outlets, " << channels << " channels";
            host::destroy(x);
        }
}

// ---- Creation arguments -------------------------------------------------------------------------

/// A box with the first `n` arguments of one column, the last one from another.
std::string box(const std::vector<row> &arguments, size_t n, const std::string &last)
{
    std::string text = "k.vorb~";
    for (size_t k = 0; k < n; ++k)
        text += " " + quoted(arguments[k][k + 1 < n ? "Example" : last]).at(0);
    return text;
}

TEST_F(reference, missing_creation_arguments_take_their_defaults)
{
    const auto &arguments = table_with(text(), "Goes to");
    for (size_t n = 1; n <= arguments.size(); ++n) {
        const trace missing = play_box(box(arguments, n - 1, "Example"));
        EXPECT_EQ(play_box(box(arguments, n, "Default")), missing) << at(arguments[n - 1]);
        EXPECT_FALSE(play_box(box(arguments, n, "Example")) == missing)
            << at(arguments[n - 1]) << ": it is not noticed";
    }
    EXPECT_EQ(play_box(box(arguments, arguments.size(), "Example") + " 1 2 3"),
              play_box(box(arguments, arguments.size(), "Example")));
}

TEST_F(reference, creation_arguments_have_the_ranges_of_their_inlets)
{
    const auto &arguments = table_with(text(), "Goes to");
    int looked_at = 0;
    for (size_t n = 1; n <= arguments.size(); ++n)
        for (const row &r : table_with(text(), "Label")) {
            if (r["Message"] != arguments[n - 1]["Goes to"]) continue;
            const std::string before = box(arguments, n - 1, "Example") + " ";
            const float value =
                std::nextafter(bound(r["High"]), std::numeric_limits<float>::infinity());
            char digits[40];
            std::snprintf(digits, sizeof digits, "%.9e", double(value));
            const trace replaced = play_box(before + digits);
            EXPECT_THAT(replaced.said, ElementsAre(report(r, value))) << at(arguments[n - 1]);
            EXPECT_TRUE(replaced.like(play_box(before + r["Fallback"]))) << at(arguments[n - 1]);
            const trace worded = play_box(before + "word");
            EXPECT_EQ(worded.said.at(0), "!k.vorb~: expected number argument");
            EXPECT_TRUE(worded.like(play_box(before + "0"))) << at(arguments[n - 1]);
            ++looked_at;
        }
    EXPECT_EQ(looked_at, 8);
}

// ---- Console ------------------------------------------------------------------------------------

TEST_F(reference, console_lines_appear_when_their_trial_is_made)
{
    for (const row &r : table_with(text(), "Channel")) {
        const std::vector<std::string> steps = quoted(r["Try"]);
        if (steps.empty()) continue;
        const trace heard = play_box(steps[0], [&](t_object *x) {
            for (size_t k = 1; k < steps.size(); ++k)
                host::send(x, steps[k][0] - '0', steps[k].substr(2));
        });
        std::vector<std::string> said = steps.size() > 1 ? heard.said : play_box(steps[0]).said;
        said.insert(said.end(), heard.said_later.begin(), heard.said_later.end());
        EXPECT_TRUE(std::any_of(said.begin(), said.end(),
                                [&](const std::string &line) { return is_row(line, r); }))
            << at(r) << ": " << ::testing::PrintToString(said);
    }
}

/// What is said in a host that locks buffers away, runs large blocks and is short of memory.
std::vector<std::string> complaints_of_a_hard_life()
{
    host::unload();
    host::set_buffer("sample1", 1, sample_rate, std::vector<float>(4410));
    host::set_buffer("two", 2, sample_rate, std::vector<float>(200000));
    host::refuse_locks("sample1", true);
    host::set_audio(sample_rate, 128);
    for (const char *box : {"k.vorb~", "k.vorb~ 2 two 5 0 5"}) {
        t_object *x = host::create(box);
        host::drain();
        host::connect(x, 0);
        host::start_audio();
        host::send(x, 0, "test 1, bang");
    }
    for (int k = 0; k < 3; ++k) host::run();
    std::vector<std::string> said = console();
    for (int failing = 1; failing < 10; ++failing)
        for (int second = 1; second < 10; ++second) {
            host::unload();
            host::fail_allocation(failing);
            host::create("k.vorb~");
            host::fail_allocation(second);
            host::create("k.vorb~ 1 other");
            host::drain();
            host::fail_allocation(0);
            for (const std::string &line : console()) said.push_back(line);
        }
    return said;
}

TEST_F(reference, console_lines_without_a_trial_appear_in_hard_circumstances)
{
    const std::vector<std::string> said = complaints_of_a_hard_life();
    for (const row &r : table_with(text(), "Channel")) {
        const bool appears = std::any_of(said.begin(), said.end(),
                                         [&](const std::string &line) { return is_row(line, r); });
        EXPECT_TRUE(appears || !r["Try"].empty()) << at(r);
    }
    for (const std::string &line : said) EXPECT_TRUE(is_documented(line)) << line;
}

} // namespace
