#ifndef OUTCOME_H
#define OUTCOME_H

#include "framework/buspendingcall.h"
#include "messages/voxmessage.h"

#include <QJsonObject>

#include <functional>

/// What came of a call, in the terms of both forms of output.
class Outcome
{
public:
    explicit Outcome(const BusPendingCall &call);
    /// Of one that asked the node at @p addr. The answer of another node is an error, and no reply.
    Outcome(const BusPendingCall &call, unsigned int addr);

    const VOXMessage &reply() const { return m_reply; }
    const QString &error() const { return m_error; }
    bool isForeign() const { return m_isForeign; }
    bool isAnswered() const { return m_error.isEmpty() && !m_reply.data().isEmpty(); }
    /// The exit code of a command that was this call.
    int exitCode() const;

    QJsonObject toJson() const;
    /// Prints it for @p command, and returns the exit code.
    int print(const QString &command, bool isJson) const;

private:
    void printText(const QString &command) const;

    VOXMessage m_reply;
    QString m_error;
    /// Of the node that was asked; empty if it was not one.
    QString m_addr;
    bool m_isForeign = false;
};

enum class Asking {
    Once,
    /// What only reads is asked again, twice at most, if another node has answered in its place: a late
    /// answer may have.
    Again
};

/// Waits for what the node at @p addr answers to the call that @p call makes.
Outcome ask(unsigned int addr, Asking asking, const std::function<BusPendingCall()> &call);

void printJson(const QJsonObject &object);

#endif
