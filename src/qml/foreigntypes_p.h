#ifndef VOX_QML_FOREIGNTYPES_P_H
#define VOX_QML_FOREIGNTYPES_P_H

#include <vox/messages/kvrmotor.h>
#include <vox/network/voxmotion.h>

#include <QtQml>

// Types of the libraries that pages use as they are.

struct MotionForPages
{
    Q_GADGET
    QML_FOREIGN(VOXMotion)
    QML_NAMED_ELEMENT(Motion)
    QML_UNCREATABLE("Commands of motors and networks return motions.")
};

#if QT_VERSION_MAJOR < 6
struct KVRMotorForPages
{
    Q_GADGET
    QML_FOREIGN(KVRMotor)
#else
// A gadget is a value there, whose enumerators tools do not find.
class KVRMotorForPages : public QObject
{
    Q_OBJECT
    QML_EXTENDED_NAMESPACE(KVRMotor)
#endif
    QML_NAMED_ELEMENT(KVRMotor)
    QML_UNCREATABLE("KVRMotor holds enumerations.")
};

#endif
