#include "vox/bridge/covercommand.h"

#include "network/voxnetworkmotor.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

namespace {
constexpr int MaxDepth = 4;
constexpr int MaxPercent = 100;
constexpr int MaxId = 64;

const struct
{
    CoverCommand::Kind kind;
    const char *word;
} words[] = {{CoverCommand::Open, "OPEN"},
             {CoverCommand::Close, "CLOSE"},
             {CoverCommand::Stop, "STOP"},
             {CoverCommand::Wink, "WINK"}};

bool readWord(const QByteArray &text, CoverCommand *command)
{
    for (const auto &row : words) {
        if (text != row.word)
            continue;
        command->kind = row.kind;
        command->value = 0;
        return true;
    }
    return false;
}

QString positionProblem()
{
    return QStringLiteral("a position is 0 to 100");
}

bool setPosition(double value, CoverCommand *command, QString *problem)
{
    // This is false for what is no number, too.
    if (!(value >= 0 && value <= MaxPercent)) {
        *problem = positionProblem();
        return false;
    }
    command->kind = CoverCommand::Position;
    command->value = static_cast<int>(std::floor(value + 0.5));
    return true;
}

bool readObject(const QJsonObject &object, CoverCommand *command, QString *problem)
{
    const QString position = QStringLiteral("position");
    const QString ip = QStringLiteral("ip");
    const QString word = QStringLiteral("command");
    const QString id = QStringLiteral("id");
    int acts = 0;
    const QStringList keys = object.keys();
    for (const QString &key : keys) {
        acts += key == id ? 0 : 1;
        if (key != position && key != ip && key != word && key != id) {
            *problem = QStringLiteral("an object has \"position\", \"ip\" or \"command\", and \"id\"");
            return false;
        }
    }
    if (object.contains(id)) {
        if (!object.value(id).isString() || !isCommandId(object.value(id).toString())) {
            *problem = QStringLiteral("an id is a text of 1 to 64 printable characters");
            return false;
        }
        command->id = object.value(id).toString().toUtf8();
    }
    if (acts != 1) {
        *problem = QStringLiteral("an object has one of \"position\", \"ip\" and \"command\"");
        return false;
    }
    if (object.contains(position))
        return setPosition(object.value(position).toDouble(std::nan("")), command, problem);
    if (object.contains(word)) {
        *problem = QStringLiteral("a command is OPEN, CLOSE, STOP or WINK");
        return readWord(object.value(word).toString().toUtf8(), command);
    }
    const double index = object.value(ip).toDouble(std::nan(""));
    *problem = QStringLiteral("an intermediate position is 1 to %1").arg(VOXNetworkMotor::MaxIntermediates);
    if (!(index >= 1 && index <= VOXNetworkMotor::MaxIntermediates) || index != std::floor(index))
        return false;
    command->kind = CoverCommand::Intermediate;
    command->value = static_cast<int>(index);
    return true;
}
}

bool CoverCommand::read(const QByteArray &payload, CoverCommand *command, QString *problem)
{
    if (payload.size() > MaxBytes) {
        *problem = QStringLiteral("it has more than %1 bytes").arg(MaxBytes);
        return false;
    }
    const QByteArray text = payload.trimmed();
    if (readWord(text, command))
        return true;
    *problem = QStringLiteral("it is OPEN, CLOSE, STOP, WINK, or an object such as {\"position\": 40}");
    if (!text.startsWith('{') || !isShallow(text, MaxDepth))
        return false;
    const QJsonDocument document = QJsonDocument::fromJson(text);
    return document.isObject() && readObject(document.object(), command, problem);
}

bool CoverCommand::readPosition(const QByteArray &payload, CoverCommand *command, QString *problem)
{
    // JSON would take exponents, and Qt's numbers "nan" and "inf".
    constexpr int MaxDigits = 16;
    const QByteArray text = payload.size() > MaxBytes ? QByteArray() : payload.trimmed();
    const bool isPlain = !text.isEmpty() && text.size() <= MaxDigits && text.count('.') <= 1
        && text.at(0) != '.' && !text.endsWith('.')
        && std::all_of(text.cbegin(), text.cend(), [](char c) { return (c >= '0' && c <= '9') || c == '.'; });
    if (isPlain)
        return setPosition(text.toDouble(), command, problem);
    *problem = positionProblem();
    return false;
}

bool isShallow(const QByteArray &bytes, int most)
{
    int depth = 0;
    bool isText = false;
    for (int i = 0; i < bytes.size(); ++i) {
        const char c = bytes.at(i);
        if (isText) {
            i += c == '\\' ? 1 : 0;
            isText = c != '"';
        } else if (c == '"') {
            isText = true;
        } else if (c == '{' || c == '[') {
            if (++depth > most)
                return false;
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return true;
}

bool isCommandId(const QString &text)
{
    return !text.isEmpty() && text.size() <= MaxId
        && std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.isPrint(); });
}
