// A folder of its own for each test, with sounds whose every sample is known.
#include "workshop.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sndfile.h>
#include <unistd.h>

namespace fs = std::filesystem;

void workshop::SetUp()
{
    std::string name = (fs::temp_directory_path() / "workshop-XXXXXX").string();
    folder = mkdtemp(name.data());
    write_sound("half.wav", std::vector<float>(88200, 0.5f));
    write_sound("quarter.wav", std::vector<float>(88200, 0.25f));
}

void workshop::TearDown() { fs::remove_all(folder); }

void workshop::write(const std::string &name, const std::string &text)
{
    std::ofstream(folder / name) << text;
}

void workshop::write_sound(const std::string &name, const std::vector<float> &samples)
{
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE *out = sf_open((folder / name).c_str(), SFM_WRITE, &info);
    sf_writef_float(out, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(out);
}

std::string workshop::text_of(const std::string &name) const
{
    std::ifstream in(folder / name);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string workshop::inventory() const
{
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    std::string all;
    for (const std::string &name : names) all += (all.empty() ? "" : " ") + name;
    return all;
}

outcome workshop::run(const std::vector<std::string> &arguments, const circumstances &around)
{
    return last = run_render(folder, arguments, around);
}

void workshop::expect_refused(const std::vector<std::string> &arguments, const std::string &line)
{
    const std::string before = inventory();
    run(arguments);
    EXPECT_EQ(last.status, 2);
    EXPECT_EQ(last.err, line + "\n");
    EXPECT_EQ(last.out, "");
    EXPECT_EQ(inventory(), before);
}

recording workshop::render(const std::string &text, const std::vector<std::string> &more)
{
    write("s.score", text);
    std::vector<std::string> arguments{"s.score", "-o", "s.wav"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    run(arguments);
    EXPECT_EQ(last.status, 0) << last.err;
    return listen(folder / "s.wav");
}

size_t first_sound(const channel &x, size_t from)
{
    while (from < x.size() && x[from] == 0) ++from;
    return from;
}

size_t first_silence(const channel &x, size_t from)
{
    while (from < x.size() && x[from] != 0) ++from;
    return from;
}
