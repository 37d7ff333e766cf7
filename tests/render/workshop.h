// A folder of its own for each test, with sounds whose every sample is known.
#pragma once

#include "child.h"
#include "measure.h"

#include <gtest/gtest.h>

class workshop : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    void write(const std::string &name, const std::string &text);
    /// A mono sound in 32-bit float at 44100 Hz.
    void write_sound(const std::string &name, const std::vector<float> &samples);
    std::string text_of(const std::string &name) const;
    /// All there is in the folder, sorted, one name per word.
    std::string inventory() const;

    outcome run(const std::vector<std::string> &arguments, const circumstances &around = {});
    /// Runs the program, which must say this line, end with status 2 and leave no file.
    void expect_refused(const std::vector<std::string> &arguments, const std::string &line);
    /// Renders the text as score s.score, as it must succeed, and listens to the result.
    recording render(const std::string &text, const std::vector<std::string> &more = {});

    std::filesystem::path folder;
    outcome last;
};

/// The first frame of a channel that is not silent, or its length.
size_t first_sound(const channel &x, size_t from = 0);
size_t first_silence(const channel &x, size_t from = 0);
