// Cutting a score line into words, and reading numbers as a box does.
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The longest time that a score may name.
constexpr double longest_ms = 24 * 3600 * 1000.0;

/// The line without its comment, which starts at a `#` that begins a word.
std::string_view without_comment(std::string_view line);

/// Takes the first word off `text`, which keeps the rest without blanks at its ends. Double quotes
/// hold blanks together and stay part of the word.
std::string_view take_word(std::string_view &text);

/// The parts of a text that commas outside double quotes separate.
std::vector<std::string_view> parts_of(std::string_view text);

std::vector<std::string_view> words_of(std::string_view text);

/// Throws std::invalid_argument unless the whole word is a finite number.
double number(std::string_view word);
/// The same for whole numbers from 0.
int count(std::string_view word);
