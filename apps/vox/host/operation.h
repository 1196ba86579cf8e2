#ifndef OPERATION_H
#define OPERATION_H

#include "framework/buspendingcall.h"

#include <QMetaMethod>
#include <QStringList>
#include <QVariant>
#include <QVector>

class KVRMotorProxy;
class VOXMessage;

/// An operation of the motor proxy, or of the standard proxy that it derives from, found by its name.
class Operation
{
public:
    static QStringList names();
    /// The values that the argument at @p index of the operation @p name may have, if it is of an
    /// enumeration.
    static QStringList keys(const QString &name, int index);
    /// The help of the operation @p name, argument by argument, for people.
    static QString help(const QString &name);
    /// Finds the form of @p name that takes @p argumentCount arguments. False if there is none; @p problem
    /// then says what is accepted.
    static bool find(const QString &name, int argumentCount, Operation *operation, QString *problem);

    /// Takes the arguments as they were typed. False if one does not fit its parameter.
    bool setArguments(const QStringList &arguments, QString *problem);
    BusPendingCall call(KVRMotorProxy &proxy) const;

    /// Whether the operation has arguments and all of them are left out.
    bool isAllDefaults() const;
    /// Name and parameters, for people.
    QString usage() const;

private:
    VOXMessage sample() const;

    QMetaMethod m_method;
    QVector<QVariant> m_arguments;
};

#endif
