// Folding many outlets down to two channels, for headphones.
#pragma once

#include <array>
#include <string>
#include <vector>

/// What one outlet gives to the left and to the right ear.
using ears = std::array<double, 2>;

/// One row per outlet, by the name of a law; by the name auto, the law that the number of outlets
/// asks for. Outlets beyond the rows are left out. Throws bad_input when they do not go together.
const std::vector<ears> &fold_law(const std::string &name, int outlets);

/// Interleaved frames of `outlets` channels into frames of two.
std::vector<double> fold(const std::vector<double> &frames, int outlets,
                         const std::vector<ears> &law);

/// The names of the laws, for the help text.
std::string fold_names();
