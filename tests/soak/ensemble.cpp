// What happens to the instances, block by block, and what must hold after each.
#include "ensemble.h"

#include "k_vorb.h"
#include "pool_flaw.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

static const char *const names[] = {"sample1", "sample2", "sample3"}; // that scores know
static const std::vector<long> vectors = {16, 37, 64, 64, 64, 128, 256, 512};

ensemble::ensemble(double sample_rate, std::uint64_t seed)
    : rate(sample_rate), d(seed), next_seed(seed * 1000003)
{
    host::reset();
    for (const int layout : {1, 2, 4, 6, 10}) {
        parts.emplace_back();
        parts.back().layout = layout;
        begin(parts.back());
    }
    refuse(0);
    for (const long frames : vectors) { // whatever is sized by them is
        host::set_audio(rate, frames);
        host::run();
    }
    tune();
}

ensemble::~ensemble() { host::reset(); }

void ensemble::broken(const std::string &what) const
{
    throw std::runtime_error(what + ", after " + std::to_string(now / rate) + " s");
}

bool ensemble::due(double &moment, double seconds)
{
    if (now < moment) return false;
    const bool first = moment == 0;
    moment = now - std::log(d.between(1e-9, 1)) * seconds * rate;
    return !first;
}

// ---- Instances and their scores -----------------------------------------------------------------

void ensemble::begin(part &p)
{
    if (p.x) host::destroy(p.x);
    p.x = nullptr;
    for (cord &c : p.cords) c = {};
    new_score(p);
    p.x = host::create("k.vorb~ " + p.score.arguments);
    if (!p.x) broken("an instance was refused");
    rewired = true;
    ++sum.instances;
}

/// One in ten holds numbers beyond sense. It keeps to the layout that the instance has.
void ensemble::new_score(part &p)
{
    do p.score = d.chance(0.1) ? wild_score(++next_seed) : sane_score(++next_seed);
    while (p.score.layout != p.layout);
    p.next = 0;
    p.origin = now;
    p.stretch = rate * d.between(0.02, 1);
}

void ensemble::act(part &p)
{
    const auto &deeds = p.score.deeds;
    for (; p.next < deeds.size(); ++p.next) {
        const deed &next = deeds[p.next];
        if (p.origin + double(next.block) * p.stretch > now) return;
        std::visit([&](const auto &what) { happen(p, what); }, next.what);
        host::drain();
    }
    new_score(p);
}

/// Numbers that make outlets carry what is none: NaN lies outside no range and stays until another
/// takes its place, and a bandwidth of 10 MHz decays in one sample beyond all numbers.
static bool spoils(const told &m)
{
    return std::any_of(m.values.begin(), m.values.end(), [&](const t_atom &a) {
        const double v = a.a_type == A_FLOAT  ? a.a_w.w_float
                         : a.a_type == A_LONG ? double(a.a_w.w_long)
                                              : 0;
        return std::isnan(v) || (m.selector == "env" && v > 1e7);
    });
}

void ensemble::happen(part &p, const told &m)
{
    if (spoils(m)) return;
    host::send(p.x, m.inlet, m.selector.c_str(), m.values);
    ++sum.messages;
}

void ensemble::happen(part &, const swapped &buffer)
{
    if (buffer.channels) {
        swapped longer = buffer;
        longer.frames *= 8;
        host::set_buffer(buffer.name, buffer.channels, buffer.rate, longer.samples());
    } else {
        host::set_buffer(buffer.name, 1, buffer.rate, {}); // whether it was there or not
        host::delete_buffer(buffer.name);
    }
    ++sum.buffers;
}

void ensemble::happen(part &p, const plugged &signal)
{
    host::connect(p.x, signal.inlet, signal.signal.empty() ? 0 : 1);
    p.cords[signal.inlet] = {signal.signal, 0, false};
    rewired = true;
}

// ---- The world around ---------------------------------------------------------------------------

void ensemble::tune()
{
    host::stop_audio();
    vector = d.one_of(vectors);
    for (part &p : parts) act(p); // messages reach the object while audio is off, too
    host::set_audio(rate, vector);
    host::start_audio();
    rewired = true;
    ++sum.restarts;
}

/// New buffers, which may refuse their locks for so many blocks.
void ensemble::refuse(int blocks)
{
    refusing = blocks;
    for (const char *name : names) {
        host::set_buffer(name, 1, rate, std::vector<float>(20000, 0.5f));
        host::refuse_locks(name, blocks > 0 && d.chance(0.5));
    }
}

/// As many fogs as there can be.
void ensemble::burst(part &p)
{
    host::send(p.x, 0, "maxfogs 100, limit 0 0, debatt 300");
    for (int k = 0; k < vorb_pool_size; ++k) host::send(p.x, 0, "bang");
    sum.messages += 3 + vorb_pool_size;
}

void ensemble::read_host()
{
    for (const std::string &fault : host::take_faults()) broken(fault);
    for (const host::number &n : host::take_numbers()) {
        if (n.value < 0 || n.value > vorb_pool_size) broken("a number of fogs that cannot be");
        ++sum.numbers;
    }
    for (const host::line &row : host::take_console()) {
        if (row.text.empty()) broken("a console row without a text");
        ++sum.rows;
    }
}

// ---- Blocks -------------------------------------------------------------------------------------

void ensemble::feed(part &p)
{
    for (int inlet = 0; inlet < 2; ++inlet) {
        cord &c = p.cords[inlet];
        if (c.signal.empty() || (c.steady && !rewired)) continue;
        double *in = host::input(p.x, inlet);
        c.steady = c.at + 1 >= c.signal.size();
        for (long i = 0; i < vector; ++i) {
            in[i] = c.signal[c.at];
            c.at = std::min(c.at + 1, c.signal.size() - 1);
        }
    }
}

/// The exponent of what is no finite number overflows into the sign's place when 1 is added.
void ensemble::look(part &p)
{
    if (rewired) {
        p.outs.clear();
        for (int k = 0; k < p.layout; ++k) p.outs.push_back(host::output(p.x, k));
    }
    const vorb_pool &pool = reinterpret_cast<const vorb *>(p.x)->pool;
    if (const std::string flaw = pool_flaw(pool); !flaw.empty()) broken(flaw);
    const long used = long(pool.maxfogs - pool.nfree);
    sum.sounding += std::uint64_t(used);
    sum.most = std::max(sum.most, used);
    std::uint64_t endless = 0, any = 0;
    for (const double *out : p.outs)
        for (long i = 0; i < vector; ++i) {
            std::uint64_t bits;
            std::memcpy(&bits, &out[i], sizeof bits);
            endless |= (bits & 0x7ff0000000000000) + 0x0010000000000000;
            any |= bits << 1;
        }
    if (endless >> 63) broken("an outlet is not finite");
    ++(any ? sum.heard : sum.deaf);
}

void ensemble::play(double seconds)
{
    for (const double end = now + seconds * rate; now < end; now += double(vector)) {
        host::set_time(1000 * now / rate);
        if (due(next_birth, 300)) begin(parts[std::size_t(d.index(parts.size()))]);
        if (due(next_tune, 20)) tune();
        if (due(next_refusal, 60)) refuse(int(d.index(40)) + 1);
        if (due(next_burst, 120)) burst(parts[std::size_t(d.index(parts.size()))]);
        for (part &p : parts) act(p);
        for (part &p : parts) feed(p);
        host::run();
        ++sum.blocks;
        for (part &p : parts) look(p);
        rewired = false;
        if (refusing > 0 && --refusing == 0) refuse(0);
        if (due(next_reading, 0.1)) read_host();
    }
    read_host();
}
