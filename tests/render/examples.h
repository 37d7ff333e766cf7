// Plays the examples, and reads in their scores what they are told to do.
#pragma once

#include "workshop.h"

struct told {
    double ms;
    std::vector<double> numbers;
};

class Examples : public workshop {
protected:
    /// Its sound is finite, does not clip, and comes without complaints.
    recording play(const std::string &name);
    /// Its text, with its sounds where the tests find them.
    static std::string text(const std::string &name);
    /// Its lines that begin with a time.
    static std::vector<std::pair<double, std::string>> events(const std::string &name);
    /// The numbers in every message of that name to an object.
    static std::vector<told> messages(const std::string &name, const std::string &object,
                                      const std::string &message);
    /// A signal line of an example, so many ms after it began.
    static double signal_at(const told &line, double ms);
};

/// The level of every channel from `from` ms on, for `length` ms.
std::vector<double> levels(const recording &heard, double from, double length);

/// The text with all occurrences of a phrase replaced; there must be one.
std::string with(std::string text, const std::string &phrase, const std::string &other);
/// The text without the lines that contain a word.
std::string without(const std::string &text, const std::string &word);
