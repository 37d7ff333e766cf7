// Throwing the dice for a score.
#include "random_score.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double longest_ms = 40; // of delays and phases
const std::vector<double> sound_rates = {8000, 22050, 44100, 96000};

struct span {
    double low, high;
};

/// A message, and where its numbers lie in a sane score.
struct rule {
    const char *selector;
    std::vector<span> spans;
};

const span any_ms = {0, longest_ms}, level = {-1.5, 1.5}, degrees = {-180, 180}, unit = {0, 1};

const std::vector<rule> parameters = {
    {"offset", {{0, 150}}},
    {"transp", {{0.25, 4}}},
    {"transp", {{0, 0}}},
    {"bw", {{0, 300}}},
    {"amp", {level}},
    {"list", {level, level, level, level, level, level, level, level, level, level}},
    {"tex", {any_ms}},
    {"debatt", {any_ms}},
    {"atten", {any_ms}},
    {"lp", {{-6, 0}, {0, 40}}},
    {"env", {any_ms, {0.1, 1}, {0, 300}, unit, unit}},
    {"gain", {{0.25, 4}}},
    {"pan", {unit, {-1, 1}}},
    {"pan8", {unit, {-9, 9}}},
    {"panb", {unit, degrees, degrees}},
    {"angle", {unit, degrees}},
    {"direction", {{-1, 1}, {-1, 1}, {-1, 1}, {-3, 9}}},
    {"polar", {degrees, {-90, 90}, {-3, 9}}},
    {"aux1", {level}},
    {"aux2", {level}},
};

/// Those under which one fog may change another, or the end of the last be far.
const std::vector<rule> others = {
    {"all", {}},
    {"autoenv", {{0, 3}, {1, longest_ms}}},
    {"f0phase", {unit}},
    {"reset", {}},
    {"freefogs", {}},
    {"usedfogs", {}},
    {"test", {{0, 2}}},
    {"silent", {{0, 2}}},
    {"maxfogs", {{-1, 110}}},
    {"limit", {{-2, 8}, {0, 20}}},
    {"int", {{1, 4}}},
};

const std::vector<rule> starts = {{"bang", {}}, {"float", {any_ms}}};

/// The selectors whose number is whole.
bool is_whole(const std::string &selector)
{
    static const std::vector<std::string> whole = {"int", "test", "silent", "maxfogs", "limit"};
    return std::count(whole.begin(), whole.end(), selector) > 0;
}

class composer {
public:
    composer(std::uint64_t seed, bool is_wild) : d(seed), wild(is_wild)
    {
        s.layout = d.one_of<int>({1, 2, 4, 6, 10});
        s.audio = {d.one_of<double>({22050, 44100, 48000}), d.one_of<long>({16, 32, 64})};
        s.arguments = std::to_string(s.layout) + " sample1 " + std::to_string(d.index(24) + 2);
        for (int k = 0; wild && k < 8; ++k)
            s.arguments += d.one_of<std::string>({" 1", " 20.", " all", " loud", " 1e39", " -1"});
    }

    random_score anything()
    {
        for (long block = 0; block < s.blocks; ++block) {
            if (block == 0 || d.chance(0.03)) swap(block);
            if (d.chance(0.3)) tell(block, d.one_of(parameters));
            if (d.chance(0.1)) tell(block, d.one_of(others));
            if (d.chance(0.2)) tell(block, d.one_of(starts));
            if (d.chance(0.03)) plug(block);
            if (wild && d.chance(0.02)) s.deeds.push_back({block, random_audio()});
        }
        return s;
    }

    random_score two_fogs()
    {
        const long channels = fitting_channels();
        s.deeds.push_back({0, noise("sample1", channels)});
        // What a new instance has depends on the sound's length, which each fog writes anew.
        tell(0, {"debatt", {any_ms}});
        const long first = d.index(40), second = first + d.index(40);
        for (const long block : {first, second}) {
            for (int k = 0; k < 6; ++k) {
                const rule &r = d.one_of(parameters);
                if (channels < 4 || std::string(r.selector) != "lp") tell(block, r);
            }
            tell(block, d.one_of(starts));
        }
        return s;
    }

private:
    double wild_number()
    {
        return d.one_of<double>({inf, -inf, std::numeric_limits<double>::quiet_NaN(), 1e38, -1e38,
                                 1e39, 1e308, -1e308, 1e-308, 0, -0.0, -1, 0x1p63, -0x1p63, 1e-40});
    }

    t_atom number(const span &range, bool whole)
    {
        if (wild && d.chance(0.3)) {
            if (d.chance(0.1)) return host::atom(d.one_of<const char *>({"all", "loud", ""}));
            if (d.chance(0.2))
                return host::atom(d.one_of<t_atom_long>({std::numeric_limits<t_atom_long>::max(),
                                                         std::numeric_limits<t_atom_long>::min(), 0,
                                                         -1, 1 << 24}));
            return host::atom(wild_number());
        }
        const double v = d.between(range.low, range.high);
        return whole ? host::atom(static_cast<t_atom_long>(v)) : host::atom(v);
    }

    void tell(long block, const rule &r)
    {
        told message{0, r.selector, {}};
        for (const span &range : r.spans)
            message.values.push_back(number(range, is_whole(r.selector)));
        if (wild) {
            if (d.chance(0.05)) message.inlet = static_cast<int>(d.index(9));
            if (d.chance(0.05)) message.values.push_back(number(unit, false));
            if (d.chance(0.05) && !message.values.empty()) message.values.pop_back();
        }
        s.deeds.push_back({block, message});
    }

    /// A count that the layout can play.
    long fitting_channels()
    {
        if (s.layout == 1 || s.layout == 10 || d.chance(0.4)) return 1;
        return s.layout == 6 ? 4 : 2;
    }

    swapped noise(const std::string &name, long channels)
    {
        return {name, channels, d.index(3000) + 1, d.one_of(sound_rates),
                static_cast<std::uint64_t>(d.index(1000))};
    }

    void swap(long block)
    {
        const std::string name = d.one_of<std::string>({"sample1", "sample1", "sample2"});
        const bool there = d.chance(0.8);
        const long channels = d.chance(0.8) ? fitting_channels() : d.index(5) + 1;
        s.deeds.push_back({block, noise(name, there ? channels : 0)});
    }

    void plug(long block)
    {
        plugged cord{static_cast<int>(d.index(2)), {}};
        const double low = cord.inlet == 0 ? -700 : -5, high = cord.inlet == 0 ? 700 : 150;
        const double from = d.between(low, high), to = d.between(low, high);
        const long length = d.chance(0.7) ? 64 * d.index(40) : 0;
        for (long i = 0; i < length; ++i) {
            const double t = static_cast<double>(i) / static_cast<double>(length);
            const bool speck = wild && d.chance(0.05);
            cord.signal.push_back(speck ? wild_number() : from + (to - from) * t);
        }
        s.deeds.push_back({block, cord});
    }

    retuned random_audio()
    {
        return {d.one_of<double>({8000, 44100, 192000}), d.one_of<long>({1, 16, 64, 100, 256})};
    }

    dice d;
    const bool wild;
    random_score s;
};

} // namespace

random_score sane_score(std::uint64_t seed) { return composer(seed, false).anything(); }
random_score wild_score(std::uint64_t seed) { return composer(seed, true).anything(); }
random_score two_fog_score(std::uint64_t seed) { return composer(seed, false).two_fogs(); }

bool told::starts_a_fog() const { return selector == "bang" || selector == "float"; }

std::vector<float> swapped::samples() const
{
    dice d(seed);
    std::vector<float> noise(static_cast<std::size_t>(channels * frames));
    for (float &v : noise) v = d.number(-1, 1);
    return noise;
}

// ---- For a person -------------------------------------------------------------------------------

static void print(std::ostream &to, const told &message)
{
    to << "x " << message.inlet << ' ' << message.selector;
    for (const t_atom &a : message.values) {
        if (a.a_type == A_SYM) to << " \"" << a.a_w.w_sym->s_name << '"';
        else if (a.a_type == A_LONG) to << ' ' << a.a_w.w_long;
        else to << ' ' << a.a_w.w_float << (std::trunc(a.a_w.w_float) == a.a_w.w_float ? "." : "");
    }
}

static void print(std::ostream &to, const swapped &buffer)
{
    to << "buffer " << buffer.name;
    if (buffer.channels)
        to << " # noise " << buffer.seed << ": " << buffer.channels << " channels, "
           << buffer.frames << " frames at " << buffer.rate << " Hz";
}

static void print(std::ostream &to, const plugged &cord)
{
    to << "x " << cord.inlet << " signal ";
    if (cord.signal.empty()) to << "off";
    else
        to << cord.signal.front() << " ... " << cord.signal.back() << " # " << cord.signal.size()
           << " samples";
}

static void print(std::ostream &to, const retuned &audio)
{
    to << "# audio at " << audio.rate << " Hz, " << audio.vector << " frames";
}

std::ostream &operator<<(std::ostream &to, const random_score &s)
{
    to.precision(17);
    print(to, s.audio);
    to << "\nobject x k.vorb~ " << s.arguments << "\n# the first number is that of the block\n";
    for (const deed &done : s.deeds) {
        to << done.block << ' ';
        std::visit([&](const auto &what) { print(to, what); }, done.what);
        to << '\n';
    }
    return to;
}
