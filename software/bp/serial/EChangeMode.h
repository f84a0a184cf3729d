// Why a control is changed, and how far the change goes.
#pragma once

/// Bits. Either of the two non-zero ones reaches a disabled control and a disabled list entry too.
enum EChangeMode : unsigned
{
    eChangeNormal = 0,   ///< by a user or a protocol
    eChangeHardware = 4, ///< the hardware is brought in line with what is stored
    eChangeNoApply = 8,  ///< store and notify, without calling the hardware
};
