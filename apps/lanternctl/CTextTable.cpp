// Measured first, printed afterwards.
#include "apps/lanternctl/CTextTable.h"

#include "apps/lanternctl/NDisplayText.h"

#include <algorithm>
#include <ostream>

namespace
{
constexpr std::size_t kGap = 2; // blanks between two columns

std::string Emphasise(const CTerminalStyle& style, EEmphasis emphasis, const std::string& line)
{
    switch (emphasis)
    {
    case EEmphasis::None: break;
    case EEmphasis::Heading: return style.Bold(line);
    case EEmphasis::Warning: return style.Yellow(line);
    case EEmphasis::Alarm: return style.Red(line);
    }
    return line;
}
} // namespace

CTextTable::CTextTable(std::initializer_list<std::string> heading)
    : mRows{{heading, EEmphasis::Heading}}
{
}

void CTextTable::AddRow(std::vector<std::string> cells, EEmphasis emphasis)
{
    for (std::string& cell : cells)
        cell = NDisplayText::Printable(cell);
    mRows.push_back({std::move(cells), emphasis});
}

void CTextTable::Print(std::ostream& out, const CTerminalStyle& style, const std::string& indentation) const
{
    std::vector<std::size_t> widths;
    for (const SRow& row : mRows)
    {
        widths.resize(std::max(widths.size(), row.mCells.size()));
        for (std::size_t column = 0; column < row.mCells.size(); ++column)
            widths[column] = std::max(widths[column], NDisplayText::Width(row.mCells[column]));
    }
    for (const SRow& row : mRows)
        out << indentation << Emphasise(style, row.mEmphasis, MakeLine(row, widths)) << '\n';
}

std::string CTextTable::MakeLine(const SRow& row, const std::vector<std::size_t>& widths)
{
    std::string line;
    for (std::size_t column = 0; column < row.mCells.size(); ++column)
    {
        line += row.mCells[column];
        line.append(widths[column] - NDisplayText::Width(row.mCells[column]) + kGap, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}
