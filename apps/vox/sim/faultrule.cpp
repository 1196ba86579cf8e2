#include "vox/sim/faultrule.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/vox.h"
#include "vox/line/lineitem.h"

#include <algorithm>
#include <iterator>

namespace {
constexpr int MaxDelayMs = 60000;
constexpr int MaxNoise = 1000;

/// A kind of fault: its word, and the values that it takes.
struct Form
{
    FaultRule::Kind kind;
    QString word;
    QString value;
    int most;
    QString effect;
};

const Form forms[] = {
    {FaultRule::Drop, QStringLiteral("drop"), QString(), 0, QStringLiteral("the answer stays away")},
    {FaultRule::Delay, QStringLiteral("delay"), QStringLiteral("MS"), MaxDelayMs,
     QStringLiteral("the answer comes so much later")},
    {FaultRule::Corrupt, QStringLiteral("corrupt"), QString(), 0, QStringLiteral("its check value is wrong")},
    {FaultRule::Cut, QStringLiteral("cut"), QStringLiteral("BYTES"), VOXMessage::MaxLength,
     QStringLiteral("only so many bytes of it come")},
    {FaultRule::Twice, QStringLiteral("twice"), QString(), 0, QStringLiteral("it comes twice")},
    {FaultRule::Nack, QStringLiteral("nack"), QStringLiteral("NAME"), 0,
     QStringLiteral("a NACK comes instead, such as BUSY")},
    {FaultRule::From, QStringLiteral("from"), QStringLiteral("ADDRESS"), 0,
     QStringLiteral("it names another node as its sender")},
    {FaultRule::Noise, QStringLiteral("noise"), QStringLiteral("BYTES"), MaxNoise,
     QStringLiteral("so many random bytes come before it")},
};

/// The values that a fault may have, for people.
QString valuesOf(const Form &form)
{
    if (form.kind == FaultRule::From)
        return QStringLiteral("six hexadecimal digits are");
    if (form.kind != FaultRule::Nack)
        return QStringLiteral("0 to %1 are").arg(form.most);
    QStringList names;
    for (int status = 0; status <= 0xff; ++status) {
        const QString name = KVR::toString(static_cast<KVR::NackStatus>(status));
        // A status without a name is a number.
        if (name.at(0).isLetter())
            names += name;
    }
    return names.join(QStringLiteral(", ")) + QStringLiteral(" are");
}

bool readStatus(const QString &name, int *status)
{
    for (*status = 0; *status <= 0xff; ++*status) {
        if (KVR::toString(static_cast<KVR::NackStatus>(*status)) == name)
            return true;
    }
    return false;
}

bool readCount(const QString &text, int least, int most, int *number)
{
    bool isNumber = false;
    *number = text.toInt(&isNumber);
    // A word that begins like an address is one, and no number.
    isNumber = isNumber && (text.size() == 1 || !text.startsWith(QLatin1Char('0')));
    return isNumber && *number >= least && *number <= most;
}

bool readValue(const Form &form, const QString &word, FaultRule *rule, QString *problem)
{
    unsigned int addr = 0;
    bool isRead = true;
    if (form.kind == FaultRule::Nack) {
        isRead = readStatus(word, &rule->value);
    } else if (form.kind == FaultRule::From) {
        isRead = VOX::readAddr(word, &addr);
        rule->value = static_cast<int>(addr);
    } else {
        isRead = readCount(word, 0, form.most, &rule->value);
    }
    if (!isRead)
        *problem =
            QStringLiteral("'%1' is no %2 for '%3'; %4").arg(word, form.value, form.word, valuesOf(form));
    return isRead;
}

bool isNamed(unsigned char cmd, const QString &name)
{
    return VOX::toString(cmd) == name || HRMv2::toString(cmd) == name;
}

bool isCommand(const QString &name)
{
    for (int cmd = 0; cmd <= 0xff; ++cmd) {
        if (!name.isEmpty() && isNamed(static_cast<unsigned char>(cmd), name))
            return true;
    }
    return false;
}

/// One of "command NAME", "probability P" and "count N".
bool readClause(const QString &word, const QString &value, FaultRule *rule)
{
    if (word == QLatin1String("command")) {
        rule->command = value;
        return isCommand(value);
    }
    if (word == QLatin1String("probability")) {
        bool isNumber = false;
        rule->probability = value.toDouble(&isNumber);
        return isNumber && rule->probability >= 0 && rule->probability <= 1;
    }
    constexpr int MaxCount = 1000000;
    return word == QLatin1String("count") && readCount(value, 1, MaxCount, &rule->count);
}
}

bool FaultRule::read(const QString &words, FaultRule *rule, QString *problem)
{
    QStringList rest = words.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    *rule = FaultRule();
    rule->words = rest.join(QLatin1Char(' '));
    const QString kind = rest.isEmpty() ? QString() : rest.takeFirst();
    const auto *const form =
        std::find_if(std::begin(forms), std::end(forms), [&](const Form &f) { return f.word == kind; });
    if (form == std::end(forms)) {
        *problem =
            QStringLiteral("'%1' is no fault; drop, delay, corrupt, cut, twice, nack, from and noise are")
                .arg(kind);
        return false;
    }
    rule->kind = form->kind;
    if (!form->value.isEmpty()
        && !readValue(*form, rest.isEmpty() ? QString() : rest.takeFirst(), rule, problem))
        return false;
    if (!rest.isEmpty() && (rest.first() == QLatin1String("all") || VOX::readAddr(rest.first(), &rule->addr)))
        rule->isForAll = rest.takeFirst() == QLatin1String("all");
    while (!rest.isEmpty()) {
        const QString word = rest.takeFirst();
        const QString value = rest.isEmpty() ? QString() : rest.takeFirst();
        if (readClause(word, value, rule))
            continue;
        *problem =
            QStringLiteral("'%1 %2' is not understood; an address or all, command NAME, probability 0 to 1 "
                           "and count N are")
                .arg(word, value);
        return false;
    }
    return true;
}

QString FaultRule::help()
{
    QStringList lines;
    for (const Form &form : forms)
        lines += QStringLiteral("  %1 %2").arg((form.word + QLatin1Char(' ') + form.value).leftJustified(14),
                                               form.effect);
    return lines.join(QLatin1Char('\n'));
}

bool FaultRules::happens(FaultRule &rule, const VOXMessage &answer, unsigned char requestCmd)
{
    if (rule.count == 0 || (!rule.isForAll && rule.addr != answer.srcAddr(false)))
        return false;
    if (!rule.command.isEmpty() && !isNamed(requestCmd, rule.command) && !isNamed(answer.cmd(), rule.command))
        return false;
    if (std::uniform_real_distribution<>()(m_random) >= rule.probability)
        return false;
    rule.count = std::max(rule.count - 1, -1);
    return true;
}

QByteArray FaultRules::noise(int count)
{
    QByteArray bytes(count, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(m_random());
    return bytes;
}

FaultyAnswer FaultRules::applyTo(const VOXMessage &answer, unsigned char requestCmd)
{
    // Faults in what the frame says come first, then those that the line makes.
    constexpr int DataOffset = VOXMessage::HeaderLength;
    constexpr unsigned char NackLength = 12;
    VOXMessage frame = answer;
    FaultyAnswer result;
    QByteArray before;
    int length = VOXMessage::MaxLength;
    bool isCorrupt = false;
    for (FaultRule &rule : m_rules) {
        if (!happens(rule, answer, requestCmd))
            continue;
        result.isTouched = true;
        switch (rule.kind) {
        case FaultRule::Drop:
            result.copies = 0;
            break;
        case FaultRule::Delay:
            result.delayMs += rule.value;
            break;
        case FaultRule::Corrupt:
            isCorrupt = true;
            break;
        case FaultRule::Cut:
            length = std::min(length, rule.value);
            break;
        case FaultRule::Twice:
            result.copies *= 2;
            break;
        case FaultRule::Nack:
            frame.setLen(NackLength);
            frame.setCmd(KVR::NACK);
            frame.data()[DataOffset] = static_cast<char>(rule.value);
            frame.prepare();
            break;
        case FaultRule::From:
            frame.setSrcAddr(VOX::makeAddr(answer.srcNodeType(), rule.value));
            frame.prepare();
            break;
        case FaultRule::Noise:
            before += noise(rule.value);
            break;
        }
    }
    result.bytes = inverted(frame.data());
    if (isCorrupt)
        result.bytes.back() = static_cast<char>(~result.bytes.back());
    result.bytes = before + result.bytes.left(length);
    return result;
}
