#ifndef OPERATION_H
#define OPERATION_H

#include "framework/buspendingcall.h"
#include "messages/voxcommandtrait.h"
#include "messages/voxfield.h"

#include <QMetaMethod>
#include <QStringList>
#include <QVariant>
#include <QVector>

class Bus;

/// An operation of the motor proxy, or of the standard proxy that it derives from, found by its name; or one
/// of the proxy for motors of the older generation, whose operations have "hrmv2:" before their names.
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
    /// Calls it for the node at @p addr.
    BusPendingCall call(unsigned int addr, Bus *bus) const;

    /// Whether it only reads.
    bool isQuery() const;
    /// What its request does.
    VOXCommandTrait trait() const;
    /// Which set its command and the reply belong to.
    VOXField::Meaning meaning() const;

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
