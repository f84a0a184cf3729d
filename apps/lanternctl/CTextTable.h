// Columns that line up, whatever the script.
#pragma once

#include "apps/lanternctl/CTerminalStyle.h"

#include <initializer_list>
#include <iosfwd>
#include <string>
#include <vector>

/// How much a row asks for attention.
enum class EEmphasis
{
    None,
    Heading,
    Warning,
    Alarm,
};

/// Left-aligned columns, two blanks apart; widths are those of the characters, not of their bytes. Cells are
/// made printable, so a row is always one line; no line ends in blanks.
class CTextTable
{
public:
    CTextTable() = default;
    CTextTable(std::initializer_list<std::string> heading); ///< printed bold, in front

    /// Rows may be of different length.
    void AddRow(std::vector<std::string> cells, EEmphasis emphasis = EEmphasis::None);
    void Print(std::ostream& out, const CTerminalStyle& style, const std::string& indentation = "") const;

private:
    struct SRow
    {
        std::vector<std::string> mCells;
        EEmphasis mEmphasis;
    };
    static std::string MakeLine(const SRow& row, const std::vector<std::size_t>& widths);

    std::vector<SRow> mRows; // the heading first
};
