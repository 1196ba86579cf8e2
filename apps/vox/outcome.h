#ifndef OUTCOME_H
#define OUTCOME_H

#include "framework/buspendingcall.h"
#include "messages/voxfield.h"
#include "messages/voxmessage.h"

#include <QJsonObject>

#include <functional>

/// The result of a call, for both forms of output.
class Outcome
{
public:
    explicit Outcome(const BusPendingCall &call);
    /// The result of a call that asked the node at @p addr. An answer of another node is an error, and
    /// reply() is then empty.
    Outcome(const BusPendingCall &call, unsigned int addr);

    const VOXMessage &reply() const { return m_reply; }
    const QString &error() const { return m_error; }
    bool isForeign() const { return m_isForeign; }
    bool isAnswered() const { return m_error.isEmpty() && !m_reply.data().isEmpty(); }
    /// The exit code of a command that consists of this call.
    int exitCode() const;

    QJsonObject toJson(VOXField::Meaning meaning = VOXField::InKVR) const;
    /// Prints it for @p command, and returns the exit code.
    int print(const QString &command, bool isJson, VOXField::Meaning meaning = VOXField::InKVR) const;

private:
    void printText(const QString &command, VOXField::Meaning meaning) const;

    VOXMessage m_reply;
    QString m_error;
    /// The address of the node that was asked; empty if it was not a single node.
    QString m_addr;
    bool m_isForeign = false;
};

enum class Asking {
    Once,
    /// A call that only reads is made again, twice at most, if another node has answered in place of the one
    /// that was asked. That answer may have been a late one.
    Again,
    /// The same, and once more if nobody has answered.
    AgainIfLost
};

/// Waits for the answer of the node at @p addr to the call that @p call makes.
Outcome ask(unsigned int addr, Asking asking, const std::function<BusPendingCall()> &call);

void printJson(const QJsonObject &object);
/// Milliseconds with one digit behind the point; null for a negative number, which stands for none.
QJsonValue msOrNull(double ms);

#endif
