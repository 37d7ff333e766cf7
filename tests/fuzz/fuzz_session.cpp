// What the bytes may choose: every act of a patch, a user and a host, at any moment.
#include "fuzz_session.h"

#include "between_calls.h"
#include "host_state.h"
#include "process_state.h"
#include "target.h"

#include <algorithm>
#include <cmath>

static const char *const names[] = {"sample1", "sample1", "sample1", "sample2",
                                    "sample3", "other",   ""};

/// Words are few, since the host keeps every one that it has met.
static const char *const words[] = {"sample1", "sample2", "all", "other", "loud", "",
                                    "1",       "0",       "2",   "4",     "6",    "10",
                                    "100",     "5",       "-1",  "1e39",  "0.5"};

static const char *const selectors[] = {
    "bang",      "float",  "int",      "list",   "set",    "reset",   "freefogs",
    "maxfogs",   "silent", "offset",   "transp", "bw",     "amp",     "usedfogs",
    "tex",       "debatt", "atten",    "lp",     "env",    "autoenv", "f0phase",
    "limit",     "test",   "gain",     "pan",    "pan8",   "panb",    "angle",
    "direction", "polar",  "aux1",     "aux2",   "all",    "float",   "bang",
    "dsp64",     "signal", "anything", "",       "notify", "dblclick"};

void fuzz_session::play()
{
    using act = void (fuzz_session::*)();
    // Twice what matters most.
    static const act acts[] = {&fuzz_session::make,
                               &fuzz_session::tell,
                               &fuzz_session::tell,
                               &fuzz_session::block,
                               &fuzz_session::block,
                               &fuzz_session::plug,
                               &fuzz_session::free_one,
                               &fuzz_session::tune,
                               &fuzz_session::tune_one,
                               &fuzz_session::switch_audio,
                               &fuzz_session::fail_memory,
                               &fuzz_session::defer,
                               &fuzz_session::pass_time,
                               &fuzz_session::look,
                               &fuzz_session::change_buffer,
                               &fuzz_session::tell,
                               &fuzz_session::change_buffer_between_calls};
    host::set_time(100000);
    make();
    while (!bytes.done()) {
        (this->*bytes.one_of(acts))();
        check_step();
    }
    recover();
}

// ---- Instances ----------------------------------------------------------------------------------

void fuzz_session::make()
{
    if (players.size() == 4) return;
    static const char *const layouts[] = {"1", "2", "4", "6", "10", "3", "-1", "1e39", "all"};
    std::string box = std::string("k.vorb~ ") + bytes.one_of(layouts);
    for (int count = bytes.byte() % 14; count > 0; --count) {
        const std::string next = bytes.flag() ? bytes.one_of(words) : std::to_string(bytes.word());
        box += next.empty() ? " \"\"" : " " + next;
    }
    narrate(box);
    if (t_object *x = host::create(box)) players.push_back({x, 0});
    else if (!memory_failed) broken("an instance was refused");
}

void fuzz_session::free_one()
{
    if (players.empty()) return;
    player &going = any_player();
    narrate("free", going.object);
    host::destroy(going.object);
    going = players.back();
    players.pop_back();
}

t_atom fuzz_session::atom(bool only_whole)
{
    switch (only_whole ? 0 : bytes.byte() % 8) {
    case 0:
        return host::atom(tame ? std::int64_t{bytes.word()} : bytes.whole());
    case 1:
        return host::atom(bytes.one_of(words));
    default:
        return host::atom(number());
    }
}

static std::string text_of(const host::atoms &values)
{
    std::string text;
    for (const t_atom &a : values)
        text += a.a_type == A_SYM    ? std::string(" ") + a.a_w.w_sym->s_name
                : a.a_type == A_LONG ? " " + std::to_string(a.a_w.w_long)
                                     : " " + std::to_string(a.a_w.w_float);
    return text;
}

void fuzz_session::tell()
{
    static const int counts[] = {0, 1, 1, 1, 2, 2, 3, 4, 5, 10, 12, 33000};
    if (players.empty()) return;
    t_object *x = any_player().object;
    const std::string selector = bytes.one_of(selectors);
    const int place = bytes.byte() % 16; // mostly where all is answered
    const int inlet = place < host::inlets(x) ? place : 0;
    host::atoms values;
    // Each int makes a name of a table, so there are few; more floats would become such.
    for (int k = bytes.one_of(counts); k > 0; --k) values.push_back(atom(selector == "int"));
    narrate(x, "inlet", inlet, selector, text_of(values));
    host::send(x, inlet, selector.c_str(), values);
}

void fuzz_session::look()
{
    if (players.empty()) return;
    t_object *x = any_player().object;
    narrate("look at", x);
    if (bytes.flag()) return host::double_click(x);
    const long kind = bytes.byte() % 4, index = static_cast<std::int8_t>(bytes.byte());
    host::assist(x, kind, index);
}

// ---- Buffers ------------------------------------------------------------------------------------

std::vector<float> fuzz_session::samples(long channels)
{
    static const long lengths[] = {0, 1, 4, 5, 6, 7, 8, 64, 500, 3000, 20000, 200000};
    long frames = bytes.one_of(lengths);
    frames += bytes.byte();
    if (channels > 4) frames = std::min(frames, 4000L / channels);
    std::vector<float> all(static_cast<std::size_t>(frames * channels));
    const float level = tame ? 1.0f : static_cast<float>(bytes.number());
    std::uint32_t noise = 1;
    for (float &v : all) {
        noise = noise * 1664525 + 1013904223;
        v = level * (static_cast<float>(noise >> 8) / 8388608.0f - 1.0f);
    }
    return all;
}

/// While a buffer is locked the host itself neither changes nor deletes it.
void fuzz_session::change_buffer_now(bool may_delete)
{
    static const long channels[] = {1, 1, 2, 2, 4, 4, 3, 5, 64, 1000};
    const std::string name = bytes.one_of(names);
    const auto known = host::now.buffers.find(name);
    const bool there = known != host::now.buffers.end();
    if (there && known->second->locks) return;
    switch (bytes.byte() % 8) {
    case 0:
        narrate("buffer", name, "goes");
        if (there && may_delete) host::delete_buffer(name);
        return;
    case 1:
        narrate("buffer", name, "refuses or not");
        if (there) host::refuse_locks(name, bytes.flag());
        return;
    default:
        const long wide = bytes.one_of(channels);
        const double usual = rate(), hz = tame || bytes.flag() ? usual : bytes.number();
        narrate("buffer", name, wide, "channels", hz, "Hz");
        host::set_buffer(name, wide, hz, samples(wide));
    }
}

void fuzz_session::change_buffer() { change_buffer_now(true); }

void fuzz_session::change_buffer_between_calls()
{
    const int calls = bytes.byte();
    narrate("before call", calls, "about a buffer:");
    interfere_after(calls, [this](bool may_delete) { change_buffer_now(may_delete); });
}

// ---- Audio --------------------------------------------------------------------------------------

static const long vectors[] = {1, 2, 8, 16, 63, 64, 64, 64, 100, 128, 256, 512, 1024, 4096};

double fuzz_session::rate()
{
    static const double common[] = {44100, 48000, 22050, 8000, 96000, 192000, 768000};
    static const double odd[] = {1, 2, 11.5, 1000, 44100};
    return tame || bytes.flag() ? bytes.one_of(common) : bytes.one_of(odd);
}

void fuzz_session::tune()
{
    const double hz = rate();
    session_vector = bytes.one_of(vectors);
    narrate("audio", hz, "Hz", session_vector, "frames");
    host::set_audio(hz, session_vector);
}

void fuzz_session::tune_one()
{
    if (players.empty()) return;
    player &p = any_player();
    const bool as_all = bytes.flag();
    const double hz = as_all ? 0 : rate();
    p.own_vector = as_all ? 0 : bytes.one_of(vectors);
    narrate(p.object, "alone", hz, "Hz", p.own_vector, "frames");
    host::set_audio(p.object, hz, p.own_vector);
}

void fuzz_session::switch_audio()
{
    const bool on = bytes.flag();
    narrate("audio", on ? "on" : "off");
    if (on) host::start_audio();
    else host::stop_audio();
}

void fuzz_session::plug()
{
    if (players.empty()) return;
    t_object *x = any_player().object;
    const int inlet = bytes.byte() % 16 < 14 ? bytes.byte() % 2 : bytes.byte() % host::inlets(x);
    host::connect(x, inlet, bytes.byte() % 3);
    const double from = number(), to = number();
    const bool falls = bytes.flag(), jumps = bytes.flag();
    narrate(x, "inlet", inlet, "signal", from, to, falls, jumps);
    double *signal = host::input(x, inlet);
    for (int k = 0; k < host::max_frames; ++k) {
        const double t = (k % 1000) / 1000.0;
        signal[k] = jumps ? (k % 7 ? from : to) : falls ? from * (1 - t) + to * t : from;
    }
}

void fuzz_session::block()
{
    static const long lengths[] = {0, 0, 0, 0, 0, 0, 1, 7, 8, 63, 64, 65, 500, 4096, 4097, 8192};
    const long frames = bytes.one_of(lengths);
    for (int times = 1 + bytes.byte() % 4; times > 0; --times) run(frames);
}

long fuzz_session::frames_of(const player &p, long frames) const
{
    return frames ? frames : p.own_vector ? p.own_vector : session_vector;
}

void fuzz_session::run(long frames)
{
    long most = 0;
    for (const player &p : players) {
        most = std::max(most, frames_of(p, frames));
        frames_left -= frames_of(p, frames);
    }
    if (frames_left < 0) return;
    narrate("block", frames);
    const scratch_fence fence(most);
    host::run(frames);
    for (const player &p : players)
        if (tame) check_sound(p, frames_of(p, frames));
}

// ---- The world around ---------------------------------------------------------------------------

void fuzz_session::fail_memory()
{
    const long k = bytes.byte() % 32;
    narrate("allocation", k, "fails");
    host::fail_allocation(k);
    memory_failed = true;
}

void fuzz_session::defer()
{
    const bool now = bytes.flag(), at_once = !now && bytes.flag();
    narrate("deferred calls", now ? "run" : at_once ? "run at once" : "wait");
    if (now) host::drain();
    else host::defer_at_once(at_once);
}

void fuzz_session::pass_time()
{
    static const double steps[] = {0, 1, 999, 1001, 86400e3, 0x1p31, 0x1p32, -1, -1e6, 9e15, -9e15};
    narrate("time passes");
    host::set_time(std::clamp(host::time() + bytes.one_of(steps), -9e15, 9e15));
}
