// The bridge's Pd side, made of plain containers.
#include "fake_pd.h"

#include <algorithm>
#include <cmath>
#include <set>

fake::patch fake::now;

void fake::set_array(const std::string &name, size_t frames, float value)
{
    now.arrays[name].assign(frames, {value, 1e30f});
}

fake::player::player(std::vector<vorb_pd::atom> arguments, int block_size) : frames(block_size)
{
    x = vorb_pd::create(this, int(arguments.size()), arguments.data());
    wires.assign(10, std::vector<float>(size_t(frames)));
    plug(false, false);
}

void fake::player::plug(bool f0, bool offset)
{
    plugged[0] = f0;
    plugged[1] = offset;
    vorb_pd::start(x, f0, offset, now.rate, frames);
}

int fake::player::send(const char *selector, std::vector<vorb_pd::atom> arguments, int inlet)
{
    float left;
    const int count = int(arguments.size());
    return vorb_pd::send(x, inlet, selector, count, arguments.data(), &left) ? int(left) : -1;
}

const std::vector<float> &fake::player::run(float f0, float offset)
{
    std::fill(wires[0].begin(), wires[0].end(), f0);
    std::fill(wires[1].begin(), wires[1].end(), offset);
    const float *const ins[2] = {plugged[0] ? wires[0].data() : nullptr,
                                 plugged[1] ? wires[1].data() : nullptr};
    float *outs[10];
    for (size_t k = 0; k < 10; ++k) outs[k] = wires[k].data();
    if (!now.in_one_tick) ++now.ms;
    vorb_pd::run(x, ins, outs, frames);
    return wires[0];
}

float fake::player::peak(float f0, float offset)
{
    float loudest = 0;
    for (float v : run(f0, offset)) loudest = std::max(loudest, std::fabs(v));
    return loudest;
}

void pd::write_console(void *, bool, const char *text) { fake::now.console.push_back(text); }
double pd::time_ms() { return fake::now.ms; }
double pd::sample_rate() { return fake::now.rate; }
int pd::block_size() { return 64; }

void *pd::symbol(const char *name)
{
    static std::set<std::string> known;
    return const_cast<std::string *>(&*known.insert(name).first);
}

const void *pd::find_array(void *symbol, long *frames, bool *several)
{
    ++fake::now.looked_up;
    *several = fake::now.several;
    const auto found = fake::now.arrays.find(*static_cast<std::string *>(symbol));
    if (found == fake::now.arrays.end()) return nullptr;
    *frames = long(found->second.size());
    return found->second.data();
}

void pd::copy_elements(float *to, int stride, const void *elements, long first, long count)
{
    const auto from = static_cast<const fake::cell *>(elements) + first;
    for (long i = 0; i < count; ++i) to[i * stride] = from[i].value;
    fake::now.copied += count;
}

void pd::refresh_soon() { fake::now.refresh_asked = true; }
