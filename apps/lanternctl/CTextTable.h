// Columns that line up, whatever the script.
#pragma once

#include "apps/lanternctl/CTerminalStyle.h"

#include <initializer_list>
#include <iosfwd>
#include <string>
#include <vector>

/// Left-aligned columns, two blanks apart; widths are those of the characters, not of their bytes. Cells are
/// made printable, so a row is always one line; no line ends in blanks.
class CTextTable
{
public:
    CTextTable() = default;
    CTextTable(std::initializer_list<std::string> heading); ///< printed bold, in front

    void AddRow(std::vector<std::string> cells); ///< rows may be of different length
    void Print(std::ostream& out, const CTerminalStyle& style, const std::string& indentation = "") const;

private:
    using Row = std::vector<std::string>;
    static std::string MakeLine(const Row& row, const std::vector<std::size_t>& widths);

    bool mHasHeading = false;
    std::vector<Row> mRows; // the heading first
};
