#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

// Rows of text in aligned columns.
class Table
{
 public:
    explicit Table(std::vector<std::string> header) : m_rows{std::move(header)} {}

    void Add(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }

    std::size_t Size() const { return m_rows.size() - 1; }  // without the header

    // Appends the rows to text, each after two blanks.
    void Print(std::string& text) const
    {
        std::vector<std::size_t> widths;
        for (const auto& row : m_rows) {
            if (row.size() > widths.size()) widths.resize(row.size());
            for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
        }
        for (const auto& row : m_rows) {
            for (std::size_t i = 0; i < row.size(); ++i)
                text.append("  ").append(row[i]).append(widths[i] - row[i].size(), ' ');
            text.erase(text.find_last_not_of(' ') + 1);
            text += '\n';
        }
    }

 private:
    std::vector<std::vector<std::string>> m_rows;
};
