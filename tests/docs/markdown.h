// What the tests read in a text written in Markdown: its tables, fenced blocks and links.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

/// A row of a table, its cells by the heads of their columns.
struct row {
    int line;
    std::map<std::string, std::string> cells;

    /// The text of a cell, which the table must have.
    const std::string &operator[](const std::string &column) const { return cells.at(column); }
};

struct fenced_block {
    int line;
    std::string kind, text;
};

struct markdown {
    std::vector<std::vector<row>> tables;
    std::vector<fenced_block> blocks;
    std::vector<std::string> links; // their targets, without what follows a #
};

markdown read_markdown(const std::filesystem::path &file);

/// The only table with a column of that head.
const std::vector<row> &table_with(const markdown &text, const std::string &column);

/// What stands in backquotes.
std::vector<std::string> quoted(const std::string &cell);
