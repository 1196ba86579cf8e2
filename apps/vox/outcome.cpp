#include "vox/outcome.h"

#include "messages/kvr.h"
#include "vox/console.h"
#include "vox/line/lineitem.h"
#include "vox/warnings.h"

#include <QJsonDocument>

#include <utility>

namespace {
constexpr int MaxAsked = 3;
}

Outcome::Outcome(const BusPendingCall &call)
    : m_reply(call.reply())
    , m_error(call.errorString())
{
}

// The protocol has no frame numbers. Only the source of an answer shows whether it is from the node that was
// asked.
Outcome::Outcome(const BusPendingCall &call, unsigned int addr)
    : Outcome(call)
{
    m_addr = VOX::toString(addr & VOX::AddrMask);
    if (!isAnswered())
        return;
    const QString source = VOX::toString(m_reply.srcAddr(false));
    m_isForeign = source != m_addr;
    if (!m_isForeign)
        return;
    m_error = QStringLiteral("%1 answered in place of %2").arg(source, m_addr);
    m_reply = VOXMessage();
}

int Outcome::exitCode() const
{
    return m_error.isEmpty() && !KVR::isNack(m_reply) ? Success : Failure;
}

QJsonObject Outcome::toJson(VOXField::Meaning meaning) const
{
    if (!m_error.isEmpty()) {
        QJsonObject object{{QStringLiteral("error"), m_error}};
        if (!m_addr.isEmpty())
            object.insert(QStringLiteral("address"), m_addr);
        return object;
    }
    if (!isAnswered())
        return {{QStringLiteral("sent"), true}};
    return {{QStringLiteral("address"), VOX::toString(m_reply.srcAddr(false))},
            {QStringLiteral("type"), VOX::toString(m_reply.srcNodeType())},
            {QStringLiteral("command"), nameOf(m_reply.cmd(), meaning)},
            {QStringLiteral("fields"), VOXField::toJson(m_reply, meaning)}};
}

int Outcome::print(const QString &command, bool isJson, VOXField::Meaning meaning) const
{
    if (isJson)
        printJson(toJson(meaning));
    else
        printText(command, meaning);
    return exitCode();
}

void Outcome::printText(const QString &command, VOXField::Meaning meaning) const
{
    if (!m_error.isEmpty()) {
        printError(command, m_error);
    } else if (!isAnswered()) {
        printLine(QStringLiteral("sent; no answer was asked for"));
    } else if (exitCode() != Success) {
        printLine(QStringLiteral("NACK %1").arg(KVR::toString(KVR::getNackReply(m_reply))));
    } else {
        printLine(nameOf(m_reply.cmd(), meaning));
        const auto values = VOXField::valuesOf(m_reply, meaning);
        for (const VOXField::Value &value : values)
            printLine(QStringLiteral("  %1: %2").arg(QLatin1String(value.field->name), value.toString()));
    }
}

Outcome ask(unsigned int addr, Asking asking, const std::function<BusPendingCall()> &call)
{
    const int most = asking == Asking::Once ? 1 : MaxAsked;
    bool mayBeLost = asking == Asking::AgainIfLost;
    for (int asked = 1;; ++asked) {
        const int checks = failedChecks();
        const BusPendingCall pending = call();
        pending.waitForFinished();
        if (pending.isError())
            foldFailedChecks(checks);
        Outcome outcome(pending, addr);
        if (pending.error() == BusPendingCall::Timeout && std::exchange(mayBeLost, false))
            continue;
        if (!outcome.isForeign() || asked == most)
            return outcome;
    }
}

void printJson(const QJsonObject &object)
{
    printLine(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
}

QJsonValue msOrNull(double ms)
{
    constexpr double Tenths = 10;
    return ms < 0 ? QJsonValue(QJsonValue::Null) : QJsonValue(qRound(ms * Tenths) / Tenths);
}
