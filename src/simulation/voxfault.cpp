#include "simulation/voxfault.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "messages/voxmessage.h"

#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <iterator>

namespace {
constexpr int MaxDelayMs = 60000;
constexpr int MaxAwayMs = 3600000;
constexpr int MaxNoise = 1000;
constexpr int MaxCount = 1000000;

const QString CommandWord = QStringLiteral("command");
const QString ProbabilityWord = QStringLiteral("probability");
const QString CountWord = QStringLiteral("count");
const QString EveryWord = QStringLiteral("every");

/// A kind of fault: its word, and the values that it takes.
struct Form
{
    VOXFault::Kind kind;
    QString word;
    QString value;
    int least;
    int most;
    QString effect;
};

const Form forms[] = {
    {VOXFault::Drop, QStringLiteral("drop"), QString(), 0, 0, QStringLiteral("the answer stays away")},
    {VOXFault::Delay, QStringLiteral("delay"), QStringLiteral("MS"), 0, MaxDelayMs,
     QStringLiteral("the answer comes so much later")},
    {VOXFault::Corrupt, QStringLiteral("corrupt"), QString(), 0, 0,
     QStringLiteral("its check value is wrong")},
    {VOXFault::Cut, QStringLiteral("cut"), QStringLiteral("BYTES"), 0, VOXMessage::MaxLength,
     QStringLiteral("only so many bytes of it come")},
    {VOXFault::Twice, QStringLiteral("twice"), QString(), 0, 0, QStringLiteral("it comes twice")},
    {VOXFault::Nack, QStringLiteral("nack"), QStringLiteral("NAME"), 0, 0,
     QStringLiteral("a NACK comes instead, such as BUSY")},
    {VOXFault::From, QStringLiteral("from"), QStringLiteral("ADDRESS"), 0, 0,
     QStringLiteral("it names another node as its sender")},
    {VOXFault::Noise, QStringLiteral("noise"), QStringLiteral("BYTES"), 0, MaxNoise,
     QStringLiteral("so many random bytes come before it")},
    {VOXFault::Jabber, QStringLiteral("jabber"), QStringLiteral("MS"), 1, MaxDelayMs,
     QStringLiteral("so often the node sends a frame, or random bytes, unasked")},
    {VOXFault::Away, QStringLiteral("away"), QStringLiteral("MS"), 1, MaxAwayMs,
     QStringLiteral("the node is gone for so long, again and again")},
};

template <typename Condition>
const Form *findForm(Condition condition)
{
    const auto *const found = std::find_if(std::begin(forms), std::end(forms), condition);
    return found == std::end(forms) ? nullptr : found;
}

QString kinds()
{
    QStringList words;
    for (const Form &form : forms)
        words += form.word;
    const QString last = words.takeLast();
    return QStringLiteral("%1 and %2").arg(words.join(QStringLiteral(", ")), last);
}

/// The values that a fault may have, for people.
QString valuesOf(const Form &form)
{
    if (form.kind == VOXFault::From)
        return QStringLiteral("six hexadecimal digits are");
    if (form.kind != VOXFault::Nack)
        return QStringLiteral("%1 to %2 are").arg(form.least).arg(form.most);
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
        if (KVR::toString(static_cast<KVR::NackStatus>(*status)).compare(name, Qt::CaseInsensitive) == 0)
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

bool readValue(const Form &form, const QString &word, VOXFault *fault, QString *problem)
{
    VOX::Addr addr = 0;
    bool isRead = true;
    if (form.kind == VOXFault::Nack) {
        isRead = readStatus(word, &fault->value);
    } else if (form.kind == VOXFault::From) {
        isRead = VOX::readAddr(word, &addr);
        fault->value = static_cast<int>(addr);
    } else {
        isRead = readCount(word, form.least, form.most, &fault->value);
    }
    if (!isRead)
        *problem =
            QStringLiteral("'%1' is no %2 for '%3'; %4").arg(word, form.value, form.word, valuesOf(form));
    return isRead;
}

QString valueText(const VOXFault &fault)
{
    if (fault.kind == VOXFault::Nack)
        return KVR::toString(static_cast<KVR::NackStatus>(fault.value));
    if (fault.kind == VOXFault::From)
        return VOX::toString(static_cast<VOX::Addr>(fault.value));
    return QString::number(fault.value);
}

bool isCommand(const VOXFault &fault)
{
    for (int cmd = 0; cmd <= 0xff; ++cmd) {
        if (!fault.command.isEmpty() && fault.concerns(static_cast<unsigned char>(cmd)))
            return true;
    }
    return false;
}

/// One of "command NAME", "probability P", "count N" and "every MS".
bool readClause(const QString &word, const QString &value, VOXFault *fault)
{
    if (word == CommandWord) {
        fault->command = value.toUpper();
        return isCommand(*fault);
    }
    if (word == ProbabilityWord) {
        bool isNumber = false;
        fault->probability = value.toDouble(&isNumber);
        return isNumber && fault->probability >= 0 && fault->probability <= 1;
    }
    if (word == EveryWord && fault->kind == VOXFault::Away)
        return readCount(value, fault->value + 1, MaxAwayMs, &fault->everyMs);
    return word == CountWord && readCount(value, 1, MaxCount, &fault->count);
}

bool readClauses(QStringList words, VOXFault *fault, QString *problem)
{
    QStringList known;
    while (!words.isEmpty()) {
        const QString word = words.takeFirst();
        const QString value = words.isEmpty() ? QString() : words.takeFirst();
        if (!readClause(word, value, fault)) {
            *problem = QStringLiteral("'%1' is not understood; an address or all, command NAME, "
                                      "probability 0 to 1, count N, and for 'away' every MS, "
                                      "which is longer, are")
                           .arg((word + QLatin1Char(' ') + value).trimmed());
            return false;
        }
        if (known.contains(word)) {
            *problem = QStringLiteral("'%1 %2' is too much; one fault has one %1").arg(word, value);
            return false;
        }
        if (word == CommandWord && fault->isTimed()) {
            *problem = QStringLiteral("'%1 %2' is too much; this fault goes by the clock").arg(word, value);
            return false;
        }
        known += word;
    }
    return true;
}
}

bool VOXFault::read(const QString &words, VOXFault *fault, QString *problem)
{
    QStringList rest = words.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    *fault = VOXFault();
    const QString kind = rest.isEmpty() ? QString() : rest.takeFirst();
    const Form *form = findForm([&](const Form &f) { return f.word == kind; });
    if (!form) {
        *problem = QStringLiteral("'%1' is no fault; %2 are").arg(kind, kinds());
        return false;
    }
    fault->kind = form->kind;
    if (!form->value.isEmpty()
        && !readValue(*form, rest.isEmpty() ? QString() : rest.takeFirst(), fault, problem))
        return false;
    if (!rest.isEmpty()
        && (rest.first() == QLatin1String("all") || VOX::readAddr(rest.first(), &fault->node)))
        rest.removeFirst();
    return readClauses(rest, fault, problem);
}

QString VOXFault::help()
{
    QStringList lines;
    for (const Form &form : forms)
        lines += QStringLiteral("  %1 %2").arg((form.word + QLatin1Char(' ') + form.value).leftJustified(14),
                                               form.effect);
    return lines.join(QLatin1Char('\n'));
}

QString VOXFault::toString() const
{
    const Form *form = findForm([this](const Form &f) { return f.kind == kind; });
    if (!form)
        return QString();
    QStringList words{form->word};
    if (!form->value.isEmpty())
        words += valueText(*this);
    if (node != EveryNode)
        words += VOX::toString(node);
    if (!command.isEmpty())
        words << CommandWord << command;
    if (probability != 1)
        words << ProbabilityWord << QString::number(probability, 'g', QLocale::FloatingPointShortest);
    if (count != -1)
        words << CountWord << QString::number(count);
    if (everyMs != 0)
        words << EveryWord << QString::number(everyMs);
    return words.join(QLatin1Char(' '));
}

bool VOXFault::concerns(unsigned char cmd) const
{
    return command.isEmpty() || VOX::toString(cmd) == command || HRMv2::toString(cmd) == command;
}
