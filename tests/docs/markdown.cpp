// What the tests read in a text written in Markdown: its tables, fenced blocks and links.
#include "markdown.h"

#include <fstream>
#include <regex>
#include <stdexcept>

static std::vector<std::string> cells_of(const std::string &line)
{
    static const std::regex cell(R"(\|\s*(.*?)\s*(?=\|))");
    std::vector<std::string> cells;
    for (std::sregex_iterator at(line.begin(), line.end(), cell), end; at != end; ++at)
        cells.push_back((*at)[1]);
    return cells;
}

markdown read_markdown(const std::filesystem::path &file)
{
    static const std::regex link(R"(\]\(([^)#]+)[^)]*\))");
    std::ifstream in(file);
    if (!in) throw std::runtime_error(file.string() + " cannot be read");
    markdown all;
    std::vector<std::string> heads; // of the table at hand
    bool fenced = false;
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        const bool fence = line.rfind("```", 0) == 0;
        if (fence && !fenced) all.blocks.push_back({number, line.substr(3), ""});
        else if (fenced && !fence) all.blocks.back().text += line + "\n";
        if (fence) fenced = !fenced;
        if (fence || fenced) continue;
        for (std::sregex_iterator at(line.begin(), line.end(), link), end; at != end; ++at)
            all.links.push_back((*at)[1]);
        if (line.rfind("|", 0) != 0) {
            heads.clear();
        } else if (heads.empty()) {
            heads = cells_of(line);
            all.tables.emplace_back();
        } else if (line.rfind("| ---", 0) != 0) {
            const std::vector<std::string> cells = cells_of(line);
            if (cells.size() != heads.size())
                throw std::runtime_error(file.string() + ":" + std::to_string(number) +
                                         ": not as many cells as columns");
            row &filled = all.tables.back().emplace_back(row{number, {}});
            for (size_t k = 0; k < heads.size(); ++k) filled.cells[heads[k]] = cells[k];
        }
    }
    return all;
}

const std::vector<row> &table_with(const markdown &text, const std::string &column)
{
    const std::vector<row> *found = nullptr;
    for (const auto &table : text.tables)
        if (!table.empty() && table[0].cells.count(column)) {
            if (found) throw std::runtime_error("two tables have a column " + column);
            found = &table;
        }
    if (!found) throw std::runtime_error("no table has a column " + column);
    return *found;
}

std::vector<std::string> quoted(const std::string &cell)
{
    static const std::regex span("`([^`]*)`");
    std::vector<std::string> spans;
    for (std::sregex_iterator at(cell.begin(), cell.end(), span), end; at != end; ++at)
        spans.push_back((*at)[1]);
    return spans;
}
