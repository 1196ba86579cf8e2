#include "vox/callcommand.h"

#include "messages/kvr.h"
#include "messages/voxmessage.h"
#include "proxies/kvrmotorproxy.h"
#include "transport/voxbus.h"
#include "vox/busurl.h"
#include "vox/command.h"
#include "vox/commandfields.h"
#include "vox/console.h"
#include "vox/nodemodel.h"
#include "vox/operation.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaEnum>

namespace {
constexpr auto NotANack = static_cast<KVR::NackStatus>(-1);

/// What came of a call, in the terms of both forms of output.
struct Outcome
{
    VOXMessage reply;
    QString error;

    bool isAnswered() const { return error.isEmpty() && !reply.data().isEmpty(); }
    bool isRefused() const { return KVR::getNackReply(reply) != NotANack; }
    int exitCode() const { return error.isEmpty() && !isRefused() ? Success : Failure; }
};

void printJson(const Outcome &outcome)
{
    QJsonObject object;
    if (!outcome.error.isEmpty())
        object.insert(QStringLiteral("error"), outcome.error);
    if (outcome.isAnswered()) {
        QJsonObject fields;
        for (const FieldValue &field : decodeFields(outcome.reply))
            fields.insert(QLatin1String(field.field.name), field.value);
        object.insert(QStringLiteral("address"), VOX::toString(outcome.reply.srcAddr(false)));
        object.insert(QStringLiteral("type"), VOX::toString(outcome.reply.srcNodeType()));
        object.insert(QStringLiteral("reply"), VOX::toString(outcome.reply.cmd()));
        object.insert(QStringLiteral("fields"), fields);
    }
    printLine(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
}

void printText(const Outcome &outcome)
{
    if (!outcome.error.isEmpty()) {
        printError(QStringLiteral("call"), outcome.error);
    } else if (!outcome.isAnswered()) {
        printLine(QStringLiteral("sent; no answer was asked for"));
    } else if (outcome.isRefused()) {
        printLine(QStringLiteral("NACK %1").arg(KVR::toString(KVR::getNackReply(outcome.reply))));
    } else {
        printLine(VOX::toString(outcome.reply.cmd()));
        for (const FieldValue &field : decodeFields(outcome.reply))
            printLine(QStringLiteral("  %1: %2").arg(QLatin1String(field.field.name), field.toString()));
    }
}

QString description()
{
    return QStringLiteral(
               "Calls one operation of a node and prints its reply. Arguments of an enumeration are its key "
               "names or numbers.\n\nExample: vox call --bus 'udp://127.0.0.1:4800?local=4801' 000001 "
               "getMotorStatus\n\nOperations: %1")
        .arg(Operation::names().join(QLatin1String(", ")));
}
}

int runCall(const QStringList &arguments)
{
    CommandLine line(QStringLiteral("call"), description());
    QCommandLineParser &parser = line.parser();
    const QCommandLineOption bus(QStringLiteral("bus"), QStringLiteral("The bus, as a URL."),
                                 QStringLiteral("URL"));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Print one JSON object."));
    parser.addOptions({bus, json});
    parser.addPositionalArgument(QStringLiteral("address"), QStringLiteral("Six hexadecimal digits."),
                                 QStringLiteral("ADDRESS"));
    parser.addPositionalArgument(QStringLiteral("operation"), QStringLiteral("Its name."),
                                 QStringLiteral("OPERATION"));
    parser.addPositionalArgument(QStringLiteral("argument"), QStringLiteral("As the operation takes them."),
                                 QStringLiteral("[ARGUMENT...]"));
    if (!line.parse(arguments))
        return line.exitCode();
    const QStringList words = parser.positionalArguments();
    if (!parser.isSet(bus))
        return line.fail(QStringLiteral("--bus URL is missing"));
    if (words.size() < 2)
        return line.fail(QStringLiteral("ADDRESS and OPERATION are wanted; operations are %1")
                             .arg(Operation::names().join(QLatin1String(", "))));

    QString problem;
    unsigned int addr = 0;
    Operation operation;
    const QStringList operands = words.mid(2);
    if (!readNodeAddr(words.at(0), &addr, &problem)
        || !Operation::find(words.at(1), operands.size(), &operation, &problem)
        || !operation.setArguments(operands, &problem))
        return line.fail(problem);
    const std::unique_ptr<VOXBus> network = openBus(parser.value(bus), &problem);
    if (!network)
        return line.fail(problem);

    KVRMotorProxy proxy(addr, network.get());
    const BusPendingCall call = operation.call(proxy);
    call.waitForFinished();
    const Outcome outcome{call.reply(), call.errorString()};
    if (parser.isSet(json))
        printJson(outcome);
    else
        printText(outcome);
    return outcome.exitCode();
}
