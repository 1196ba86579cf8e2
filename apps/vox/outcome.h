#ifndef OUTCOME_H
#define OUTCOME_H

#include "framework/buspendingcall.h"
#include "messages/voxmessage.h"

#include <QJsonObject>

/// What came of a call, in the terms of both forms of output.
class Outcome
{
public:
    explicit Outcome(const BusPendingCall &call);

    const VOXMessage &reply() const { return m_reply; }
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
};

void printJson(const QJsonObject &object);

#endif
