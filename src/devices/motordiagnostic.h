#ifndef VOX_DEVICES_MOTORDIAGNOSTIC_H
#define VOX_DEVICES_MOTORDIAGNOSTIC_H

#include <vox/messages/vox_export.h>
#include <vox/messages/voxsharedvalue.h>

#include <tuple>

/// The fields of a MotorDiagnostic, which says what they mean.
/// @ingroup devices
struct VOX_EXPORT MotorDiagnosticData : public QSharedData
{
    /// The zeros that all values share which were never set. Never freed, and not to be written.
    static MotorDiagnosticData *null();
    /// In the order in which they are compared.
    auto fields() const
    {
        return std::tie(totalMoveCount, totalRevCount, thermalCount, postThermalMove, obstacleCount,
                        postObstacleMove, powerCount, resetCount, encoderErrCount);
    }

    ///@{
    /// 0 until set.
    unsigned int totalMoveCount = 0;
    unsigned int totalRevCount = 0;
    unsigned short thermalCount = 0;
    unsigned short postThermalMove = 0;
    unsigned short obstacleCount = 0;
    unsigned short postObstacleMove = 0;
    unsigned short powerCount = 0;
    unsigned short resetCount = 0;
    unsigned short encoderErrCount = 0;
    ///@}
};

/// The counters of a motor's life. The emulation counts nothing: they hold what was last set.
///
/// Implicitly shared; a copy may be used on another thread.
/// @ingroup devices
class VOX_EXPORT MotorDiagnostic : public VOXSharedValue<MotorDiagnosticData>
{
public:
    /// The fields that copies share.
    using Data = MotorDiagnosticData;

    ///@{
    /// 0 at first. Only 24 bits of the two totals travel. The moves after a thermal event or an obstacle are
    /// counted from the last one.
    unsigned int totalMoveCount() const { return d->totalMoveCount; }
    unsigned int totalRevCount() const { return d->totalRevCount; }
    unsigned short thermalCount() const { return d->thermalCount; }
    unsigned short postThermalMove() const { return d->postThermalMove; }
    unsigned short obstacleCount() const { return d->obstacleCount; }
    unsigned short postObstacleMove() const { return d->postObstacleMove; }
    unsigned short powerCount() const { return d->powerCount; }
    unsigned short resetCount() const { return d->resetCount; }
    unsigned short encoderErrCount() const { return d->encoderErrCount; }
    ///@}

    ///@{
    /// Makes the value valid, even if the count stays the same.
    void setTotalMoveCount(unsigned int count) { d->totalMoveCount = count; }
    void setTotalRevCount(unsigned int count) { d->totalRevCount = count; }
    void setThermalCount(unsigned short count) { d->thermalCount = count; }
    void setPostThermalMove(unsigned short count) { d->postThermalMove = count; }
    void setObstacleCount(unsigned short count) { d->obstacleCount = count; }
    void setPostObstacleMove(unsigned short count) { d->postObstacleMove = count; }
    void setPowerCount(unsigned short count) { d->powerCount = count; }
    void setResetCount(unsigned short count) { d->resetCount = count; }
    void setEncoderErrCount(unsigned short count) { d->encoderErrCount = count; }
    ///@}
};

#endif
