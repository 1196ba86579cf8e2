#include "vox/outcome.h"

#include "messages/kvr.h"
#include "vox/console.h"
#include "vox/line/commandfields.h"

#include <QJsonDocument>

namespace {
constexpr auto NotANack = static_cast<KVR::NackStatus>(-1);
}

Outcome::Outcome(const BusPendingCall &call)
    : m_reply(call.reply())
    , m_error(call.errorString())
{
}

int Outcome::exitCode() const
{
    return m_error.isEmpty() && KVR::getNackReply(m_reply) == NotANack ? Success : Failure;
}

QJsonObject Outcome::toJson() const
{
    if (!m_error.isEmpty())
        return {{QStringLiteral("error"), m_error}};
    if (!isAnswered())
        return {{QStringLiteral("sent"), true}};
    return {{QStringLiteral("address"), VOX::toString(m_reply.srcAddr(false))},
            {QStringLiteral("type"), VOX::toString(m_reply.srcNodeType())},
            {QStringLiteral("command"), VOX::toString(m_reply.cmd())},
            {QStringLiteral("fields"), fieldsOf(m_reply)}};
}

int Outcome::print(const QString &command, bool isJson) const
{
    if (isJson)
        printJson(toJson());
    else
        printText(command);
    return exitCode();
}

void Outcome::printText(const QString &command) const
{
    if (!m_error.isEmpty()) {
        printError(command, m_error);
    } else if (!isAnswered()) {
        printLine(QStringLiteral("sent; no answer was asked for"));
    } else if (exitCode() != Success) {
        printLine(QStringLiteral("NACK %1").arg(KVR::toString(KVR::getNackReply(m_reply))));
    } else {
        printLine(VOX::toString(m_reply.cmd()));
        for (const FieldValue &field : decodeFields(m_reply))
            printLine(QStringLiteral("  %1: %2").arg(QLatin1String(field.field.name), field.toString()));
    }
}

void printJson(const QJsonObject &object)
{
    printLine(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
}
