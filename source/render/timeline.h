// A course in time of any length in a bounded number of columns.
#pragma once

#include <cstddef>
#include <vector>

/// Columns of equal length; whenever there would be more than `most`, neighbours join in pairs.
/// A Column joins another by operator+=.
template <class Column>
class timeline {
public:
    /// `bound` is even.
    explicit timeline(size_t bound) : most(bound) {}

    /// Adds what happened during the next `units` of time: a power of two, at most length().
    void add(const Column &now, long units = 1)
    {
        if (filled == span || made.empty()) {
            made.push_back(now);
            filled = units;
        } else {
            made.back() += now;
            filled += units;
        }
        if (filled == span && made.size() == most) join_pairs();
    }

    /// All of them span length() units, but the last only last_length().
    const std::vector<Column> &columns() const { return made; }
    long length() const { return span; }
    long last_length() const { return filled; }

private:
    void join_pairs()
    {
        for (size_t i = 0; i < most / 2; ++i) {
            Column joined = made[2 * i];
            joined += made[2 * i + 1];
            made[i] = joined;
        }
        made.resize(most / 2);
        filled = span *= 2;
    }

    size_t most;
    std::vector<Column> made;
    long span = 1, filled = 0;
};
