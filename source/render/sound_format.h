// Which sound file format a name's ending and a word choose.
#pragma once

#include <filesystem>
#include <sndfile.h>
#include <string>

/// What a file name's ending and a --format word choose; throws bad_input when they do not go
/// together or cannot hold so many channels.
SF_INFO choose_format(const std::filesystem::path &file, const std::string &word, int channels,
                      int rate);

/// Of a file name, in lower case and without the point.
std::string ending(const std::filesystem::path &file);

/// Words that --format takes, for the help text.
std::string format_words();
std::string format_endings();

/// Whether a file of that format can hold so many frames.
bool has_room(const SF_INFO &info, sf_count_t frames);
constexpr char no_room[] = "the format ends at 4 GB, .wav, .caf and .w64 do not";

/// The format for a sound of at most so many frames: WAV becomes its 64-bit form, RF64, where it
/// might not have room for them.
SF_INFO with_room(SF_INFO info, sf_count_t frames);

/// True for formats that cannot hold values beyond full scale.
bool clips(const SF_INFO &info);
