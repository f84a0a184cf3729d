// The controller of a simulated companion module.
#pragma once

#include "cep/CCepMessage.h"
#include "software/include/EError.h"

/// Holds a few properties and answers requests for them. A reply repeats command code, object ID, sequence
/// number, security ID and format of its request, with source and destination swapped; its error code is an
/// `EError`. Takes no locks.
class CSimulatedModule
{
public:
    CSimulatedModule();

    LibMarlix::CCepMessage Answer(const LibMarlix::CCepMessage& request);

private:
    EError Get(const LibMarlix::CCepMessage& request, LibMarlix::CCepMessage& reply) const;
    EError Set(const LibMarlix::CCepMessage& request, LibMarlix::CCepMessage& reply);
    EError CheckChange(const LibMarlix::CCepMessage& request, std::uint32_t key) const;
    void Copy(std::uint32_t key, LibMarlix::CCepMessage& reply) const;

    LibMarlix::CCepMessage mProperties;
};
