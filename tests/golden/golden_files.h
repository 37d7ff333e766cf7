// What is kept of a score's performance beside the score: NAME.txt and NAME.wav; and how a later
// performance differs from it.
#pragma once

#include "performance.h"

#include <filesystem>
#include <optional>

/// Where the two files of a score lie: in the score's own folder.
std::filesystem::path transcript_file(const std::filesystem::path &score_file);
std::filesystem::path sound_file(const std::filesystem::path &score_file);

/// None when one of the files is missing or cannot be read.
std::optional<performance> read_golden(const std::filesystem::path &score_file);
/// Throws std::runtime_error when a file cannot be written.
void write_golden(const std::filesystem::path &score_file, const performance &made);

/// The first line that differs, the first sample, and the sample that differs most, as text for a
/// person; empty when all is the same.
std::string difference(const performance &expected, const performance &got, double tolerance);
