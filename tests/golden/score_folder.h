// Which golden scores there are.
#pragma once

#include <algorithm>
#include <filesystem>
#include <vector>

/// Found when the program runs, so that a new score is a new test; in order of their names.
inline std::vector<std::filesystem::path> golden_scores()
{
    std::vector<std::filesystem::path> found;
    for (const auto &entry : std::filesystem::directory_iterator(GOLDEN_SCORES))
        if (entry.path().extension() == ".score") found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    return found;
}
