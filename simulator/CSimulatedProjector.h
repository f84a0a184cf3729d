// All boards of the simulated projector together.
#pragma once

#include "simulator/CSimulatedBoard.h"
#include "simulator/CSimulatedBuses.h"
#include "simulator/CSimulatedFaults.h"
#include "simulator/CSimulatedFpga.h"
#include "simulator/CSimulatedLensMotor.h"
#include "simulator/CSimulatedRegisters.h"
#include "software/bp/hwlogic/CFpgaBoard.h"
#include "software/bp/hwlogic/CFpgaCooling.h"
#include "software/bp/hwlogic/CProjectorLogic.h"
#include "software/bp/rtl/EPtTransport.h"

#include <array>
#include <chrono>
#include <cstdint>

class ILog;
class IMonotonicClock;

/// Owns the boards that `CProjectorLogic` drives, and moves their time forward. The main board is reached
/// through the registers of an FPGA, over the transport that is asked for. Used from one thread only.
class CSimulatedProjector
{
public:
    /// @param clock  of the FPGA and of the bus's time-outs; must outlive the projector, like the log
    CSimulatedProjector(EPtTransport transport, const IMonotonicClock& clock, ILog& log);
    CSimulatedProjector(const CSimulatedProjector&) = delete; // the boards are lent out by reference
    CSimulatedProjector& operator=(const CSimulatedProjector&) = delete;

    SProjectorHardware GetHardware() noexcept;              ///< lent; the projector outlives whoever uses it
    IControlProxy& GetFaults() noexcept { return mFaults; } ///< lent as the hardware is
    void Advance(std::chrono::milliseconds step) noexcept;

    const CSimulatedBoard& GetBoard() const noexcept { return mBoard; } ///< what is behind the registers
    CSimulatedFpga& GetFpga() noexcept { return mFpga; }
    CSimulatedBuses& GetBuses() noexcept { return mBuses; } ///< to make them fail

private:
    void AttachBlocks();
    void OnControlWritten(std::uint32_t offset, std::uint32_t value);
    std::uint32_t ReadSample(EThermalZone zone) const;
    CSimulatedRegisters MakeSensor(EThermalZone zone);

    CSimulatedBoard mBoard;
    CSimulatedFaults mFaults{mBoard};
    std::array<CSimulatedLensMotor, kLensAxes> mLens;
    CSimulatedFpga mFpga;
    CSimulatedRegisters mControlBank;
    CSimulatedRegisters mTestPattern;
    std::array<CSimulatedRegisters, kThermalZones> mSensors;
    CSimulatedBuses mBuses;
    CFpgaBoard mFpgaBoard;
    CFpgaCooling mFpgaCooling;
};
