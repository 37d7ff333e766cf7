// A score: which objects play, and what happens to them when.
#pragma once

#include "signal_line.h"

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

struct buffer_change {
    std::string name;
    std::filesystem::path file; // empty: the buffer goes
};

/// What a message box with this text would send.
struct message {
    size_t object;
    int inlet;
    std::string text;
};

struct signal_change {
    size_t object;
    int inlet;
    std::optional<signal_line> line; // none: unplugged
};

struct event {
    double ms;
    int line;
    std::variant<buffer_change, message, signal_change> what;
};

struct object_box {
    std::string name, text;
    int line;
};

struct score {
    std::string path;
    std::vector<object_box> objects;
    std::vector<event> events; // in order of time
    std::optional<double> end_ms;

    /// The text to show for a mistake in a line.
    std::string at(int line, const std::string &what) const;
};

/// Throws bad_input with file and line for whatever cannot be read.
score read_score(const std::string &path);
