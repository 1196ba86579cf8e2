#include "vox/completecommand.h"

#include "messages/vox.h"
#include "messages/voxfield.h"
#include "simulation/voxsimulation.h"
#include "vox/commands.h"
#include "vox/console.h"
#include "vox/host/operation.h"

namespace {
QStringList commandNames()
{
    QStringList names = {QStringLiteral("--help"), QStringLiteral("--version")};
    for (const Command &command : commands())
        names += command.name;
    return names;
}

QStringList busSchemes()
{
    return {QStringLiteral("serial:///dev/"), QStringLiteral("udp://"), QStringLiteral("mcast://"),
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
    if (valueName == QLatin1String("URL"))
        return busSchemes();
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

QStringList candidates(const QStringList &arguments)
{
    const Command *command = arguments.size() > 1 ? findCommand(arguments.first()) : nullptr;
    if (!command)
        return arguments.size() > 1 ? QStringList() : commandNames();
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
    if (open)
        return valuesOf(open->valueName());
    QStringList found;
    if (arguments.last().startsWith(QLatin1Char('-'))) {
        for (const QCommandLineOption &option : description.options)
            found += QStringLiteral("--") + option.names().constLast();
    } else if (!description.arguments.isEmpty()) {
        const int index = std::min(words.size(), description.arguments.size() - 1);
        found = wordsFor(description.arguments.at(index).syntax, words);
    }
    return found;
}
}

int runComplete(const QStringList &arguments)
{
    const QString prefix = arguments.value(arguments.size() - 1);
    const QStringList all = candidates(arguments);
    for (const QString &word : all) {
        if (word.startsWith(prefix))
            printLine(word);
    }
    return Success;
}
