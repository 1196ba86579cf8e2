#include "vox/completecommand.h"

#include "messages/vox.h"
#include "messages/voxfield.h"
#include "simulation/voxsimulation.h"
#include "vox/commands.h"
#include "vox/console.h"
#include "vox/host/operation.h"

namespace {
const QString FileWord = QStringLiteral("FILE");
const QString UrlWord = QStringLiteral("URL");
const QString SerialScheme = QStringLiteral("serial://");

QStringList commandNames()
{
    QStringList names = {QStringLiteral("--help"), QStringLiteral("--version")};
    for (const Command &command : commands())
        names += command.name;
    return names;
}

QStringList busSchemes()
{
    return {SerialScheme + QStringLiteral("/dev/"), QStringLiteral("udp://"), QStringLiteral("mcast://"),
            QStringLiteral("pty:")};
}

QStringList wireNames()
{
    QStringList names;
    for (int cmd = 0; cmd <= 0xff; ++cmd) {
        if (VOXField::isKnown(static_cast<unsigned char>(cmd)))
            names += VOX::toString(static_cast<unsigned char>(cmd));
    }
    return names;
}

QStringList nodes()
{
    QStringList names = VOXSimulation::models();
    for (QString &name : names)
        name += QLatin1Char('@');
    return names;
}

/// The values of an option, by the name that the help has for them.
QStringList valuesOf(const QString &valueName)
{
    if (valueName == UrlWord)
        return busSchemes();
    if (valueName == QLatin1String("FORM"))
        return {QStringLiteral("text"), QStringLiteral("json")};
    if (valueName == QLatin1String("MODEL@ADDRESS"))
        return nodes();
    return valueName == QLatin1String("NAME") ? wireNames() : QStringList();
}

/// The words for a positional argument, by the name that the help has for it; @p words are the words before
/// it.
QStringList wordsFor(const QString &syntax, const QStringList &words)
{
    if (syntax == QLatin1String("OPERATION"))
        return Operation::names();
    if (syntax == QLatin1String("DIRECTION"))
        return {QStringLiteral("up"), QStringLiteral("down")};
    if (syntax == QLatin1String("POSITION"))
        return {QStringLiteral("up"), QStringLiteral("down"), QStringLiteral("ip:")};
    if (syntax == QLatin1String("TARGET"))
        return {QStringLiteral("all"), QStringLiteral("group:")};
    if (syntax == QLatin1String("[ADDRESS...|all]"))
        return {QStringLiteral("all")};
    if (syntax == QLatin1String("[ARGUMENT...]"))
        return Operation::keys(words.value(1), words.size() - 2);
    return {};
}

const QCommandLineOption *findOption(const CommandDescription &description, const QString &word)
{
    for (const QCommandLineOption &option : description.options) {
        if (word.startsWith(QLatin1String("--")) && option.names().contains(word.mid(2)))
            return &option;
    }
    return nullptr;
}

/// The words that may come next, and whether a file name may.
struct Candidates
{
    QStringList words;
    bool areFiles = false;
};

Candidates candidates(const QStringList &arguments)
{
    if (arguments.size() == 2 && arguments.first() == QLatin1String("help"))
        return {commandNames(), false};
    const Command *command = arguments.size() > 1 ? findCommand(arguments.first()) : nullptr;
    if (!command)
        return {arguments.size() > 1 ? QStringList() : commandNames(), false};
    const CommandDescription description = CommandDescription::of(*command);
    QStringList words;
    const QCommandLineOption *open = nullptr;
    const QStringList before = arguments.mid(1, arguments.size() - 2);
    for (const QString &word : before) {
        const QCommandLineOption *option = open ? nullptr : findOption(description, word);
        if (!open && !option)
            words += word;
        open = option && !option->valueName().isEmpty() ? option : nullptr;
    }
    if (open) {
        const bool isPort = open->valueName() == UrlWord
            && (arguments.last().startsWith(QLatin1Char('/')) || arguments.last().startsWith(SerialScheme));
        return {valuesOf(open->valueName()), isPort || open->valueName().contains(FileWord)};
    }
    Candidates found;
    if (arguments.last().startsWith(QLatin1Char('-'))) {
        for (const QCommandLineOption &option : description.options)
            found.words += QStringLiteral("--") + option.names().constLast();
    } else if (!description.arguments.isEmpty()) {
        const int index = std::min(words.size(), description.arguments.size() - 1);
        const QString &syntax = description.arguments.at(index).syntax;
        found = {wordsFor(syntax, words), syntax.contains(FileWord)};
    }
    return found;
}
}

int runComplete(const QStringList &arguments)
{
    const QString prefix = arguments.value(arguments.size() - 1);
    const Candidates all = candidates(arguments);
    for (const QString &word : all.words) {
        if (word.startsWith(prefix))
            printLine(word);
    }
    // Tells the shell to offer its files.
    return all.areFiles ? Failure : Success;
}
