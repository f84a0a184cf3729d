// How important a log line is.
#pragma once

/// In ascending importance: a logger set to one level keeps that level and all above it.
enum class ELogLevel
{
    Debug,   ///< follows the steps
    Fyi,     ///< for service staff
    Normal,  ///< what happened
    Warning, ///< recovered
    Error,   ///< something no longer works
    Off,     ///< as a logger's setting only: keeps nothing
};
