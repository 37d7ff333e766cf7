// System calls that fail, as on a full disk or a file system that lacks something.
#pragma once

#include <vector>

/// Calls of that number end with an error, where an argument has all of these bits.
struct refusal {
    int call, error;
    unsigned argument = 0, bits = 0;
};

/// For the rest of this process, and of the program that it becomes; false where the system does
/// not offer it.
bool refuse(const std::vector<refusal> &calls);
