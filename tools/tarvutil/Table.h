#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <numeric>
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

    // A row cell by cell: append to Cell(), then call EndCell(); after the last one, EndRow().
    std::string& Cell() { return m_text; }
    void EndCell()
    {
        const std::size_t column = m_ends.size() - (m_rowEnds.empty() ? 0 : m_rowEnds.back());
        if (column == m_widths.size()) m_widths.push_back(0);
        const std::size_t begin = m_ends.empty() ? 0 : m_ends.back();
        m_widths[column] = std::max(m_widths[column], m_text.size() - begin);
        m_ends.push_back(m_text.size());
    }
    void EndRow() { m_rowEnds.push_back(m_ends.size()); }

    std::size_t Size() const { return m_rowEnds.size() - 1; }  // without the header

    // Leaves the header only.
    void Clear()
    {
        m_rowEnds.resize(1);
        m_ends.resize(m_rowEnds.front());
        m_text.resize(m_ends.back());
        std::size_t begin = 0;
        for (std::size_t column = 0; column < m_ends.size(); ++column) {
            m_widths[column] = m_ends[column] - begin;
            begin = m_ends[column];
        }
    }

    // Appends the rows to text, each after two blanks, without blanks at its end.
    void Print(std::string& text) const
    {
        const std::size_t rowSize =
            std::accumulate(m_widths.begin(), m_widths.end(), 2 * m_widths.size() + 1);
        const std::size_t start = text.size();
        text.resize(start + m_rowEnds.size() * rowSize, ' ');
        char* out = text.data() + start;
        std::size_t cell = 0;
        std::size_t begin = 0;
        for (const std::size_t rowEnd : m_rowEnds) {
            char* const row = out;
            char* end = out;  // of the texts
            for (std::size_t column = 0; cell < rowEnd; ++cell, ++column) {
                out += 2;
                end = std::copy_n(m_text.data() + begin, m_ends[cell] - begin, out);
                out += m_widths[column];
                begin = m_ends[cell];
            }
            while (end != row && end[-1] == ' ') --end;
            *end = '\n';
            out = end + 1;
        }
        text.resize(static_cast<std::size_t>(out - text.data()));
    }

 private:
    template <typename Row>
    void AddRow(const Row& row)
    {
        for (const auto& cell : row) {
            m_text += cell;
            EndCell();
        }
        EndRow();
    }

    std::string m_text;                  // of all cells
    std::vector<std::size_t> m_ends;     // of the cells in it
    std::vector<std::size_t> m_rowEnds;  // of the rows among the cells
    std::vector<std::size_t> m_widths;   // of the columns
};
