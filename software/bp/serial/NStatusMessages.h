// The status database in messages: what is asked with the code "SST", and what is answered.
#pragma once

#include "software/bp/status/SStatus.h"
#include "software/include/EError.h"

#include <list>
#include <string>

class CIpcMessage;
class CStatusDb;

/// Keys of the arguments of an answer. One about a group has the group's icon as value and no description.
enum EIpcStatusArg : unsigned short
{
    eIpcStatusIndex = 0,
    eIpcStatusGroup = 1,
    eIpcStatusLevel = 2, ///< `EStatusLevel`
    eIpcStatusValue = 3,
    eIpcStatusDescription = 4,
};

namespace NStatusMessages
{
constexpr char kCode[] = "SST";
constexpr unsigned short kNameKey =
    0; ///< in a request: a group, "SUMM" for all groups, "ALRM" for the alarms
constexpr unsigned short kIndexKey = 1; ///< in a request for one item of a group

/// Appends an answer for each item, at least one: a list without items is an answer without arguments. Error
/// 5 "Missing status group", 9 "Cannot find status group", 9 "Cannot find status group or item".
/// @param reply  to the request, without arguments: every answer is made from it
void AnswerRequest(const CStatusDb& status, const CIpcMessage& request, const CIpcMessage& reply,
                   std::list<CIpcMessage>& answers);

/// Makes the request. @param index  null: everything that the name stands for
CIpcMessage MakeRequest(const std::string& name, const int* index = nullptr);
/// Reads one answer back. @returns false for one without arguments, or that is none
[[nodiscard]] bool ReadItem(const CIpcMessage& answer, SStatus& item);
} // namespace NStatusMessages
