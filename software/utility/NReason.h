// What a person is told of a failure.
#pragma once

#include <exception>
#include <string>

namespace NReason
{
/// The sentence of a failure, without the place in the source, and with the system's words where they belong.
/// What it was thrown for (`std::throw_with_nested`) follows behind a colon.
std::string Of(const std::exception& failure);
} // namespace NReason
