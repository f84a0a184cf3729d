// Measured first, printed afterwards.
#include "apps/lanternctl/CTextTable.h"

#include "apps/lanternctl/NDisplayText.h"

#include <algorithm>
#include <ostream>

namespace
{
constexpr std::size_t kGap = 2; // blanks between two columns
}

CTextTable::CTextTable(std::initializer_list<std::string> heading)
    : mHasHeading(true)
    , mRows{Row(heading)}
{
}

void CTextTable::AddRow(std::vector<std::string> cells)
{
    for (std::string& cell : cells)
        cell = NDisplayText::Printable(cell);
    mRows.push_back(std::move(cells));
}

void CTextTable::Print(std::ostream& out, const CTerminalStyle& style, const std::string& indentation) const
{
    std::vector<std::size_t> widths;
    for (const Row& row : mRows)
    {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], NDisplayText::Width(row[column]));
    }
    bool isHeading = mHasHeading;
    for (const Row& row : mRows)
    {
        const std::string line = MakeLine(row, widths);
        out << indentation << (isHeading ? style.Bold(line) : line) << '\n';
        isHeading = false;
    }
}

std::string CTextTable::MakeLine(const Row& row, const std::vector<std::size_t>& widths)
{
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column)
    {
        line += row[column];
        line.append(widths[column] - NDisplayText::Width(row[column]) + kGap, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}
