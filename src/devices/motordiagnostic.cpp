#include "devices/motordiagnostic.h"

MotorDiagnosticData *MotorDiagnosticData::null()
{
    static auto *block = makeNullBlock<MotorDiagnosticData>();
    return block;
}
