#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

// Rows of text in aligned columns.
class Table
{
 public:
    explicit Table(std::initializer_list<std::string_view> header) { Add(header); }
    explicit Table(const std::vector<std::string>& header) { Add(header); }

    void Add(std::initializer_list<std::string_view> row) { AddRow(row); }
    void Add(const std::vector<std::string>& row) { AddRow(row); }

    std::size_t Size() const { return m_rowEnds.size() - 1; }  // without the header

    // Appends the rows to text, each after two blanks.
    void Print(std::string& text) const
    {
        std::size_t cell = 0;
        std::size_t begin = 0;
        for (const std::size_t rowEnd : m_rowEnds) {
            for (std::size_t column = 0; cell < rowEnd; ++cell, ++column) {
                const std::size_t size = m_ends[cell] - begin;
                text.append("  ").append(m_text, begin, size).append(m_widths[column] - size, ' ');
                begin = m_ends[cell];
            }
            text.erase(text.find_last_not_of(' ') + 1);
            text += '\n';
        }
    }

 private:
    template <typename Row>
    void AddRow(const Row& row)
    {
        if (row.size() > m_widths.size()) m_widths.resize(row.size());
        std::size_t column = 0;
        for (const auto& cell : row) {
            m_widths[column] = std::max(m_widths[column], cell.size());
            ++column;
            m_text += cell;
            m_ends.push_back(m_text.size());
        }
        m_rowEnds.push_back(m_ends.size());
    }

    std::string m_text;                  // of all cells
    std::vector<std::size_t> m_ends;     // of the cells in it
    std::vector<std::size_t> m_rowEnds;  // of the rows among the cells
    std::vector<std::size_t> m_widths;   // of the columns
};
