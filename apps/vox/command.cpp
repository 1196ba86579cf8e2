#include "vox/command.h"

#include "transport/voxbus.h"
#include "transport/voxbusurl.h"
#include "vox/console.h"
#include "vox/words.h"

#include <QCoreApplication>
#include <QDir>

#include <algorithm>

namespace {
const QString BusName = QStringLiteral("bus");
const QString JsonName = QStringLiteral("json");

/// Set while a command is asked for its description.
CommandDescription *wanted = nullptr;
}

CommandDescription CommandDescription::of(const Command &command)
{
    CommandDescription description;
    wanted = &description;
    command.run({});
    wanted = nullptr;
    return description;
}

CommandLine::CommandLine(const QString &command, const QString &description, const QString &example,
                         int options)
    : m_description{command, description, example, {}, {}}
{
    m_parser.setApplicationDescription(description);
    // "-foo" is one word, and not three.
    m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    addOptions({{{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help.")}});
    if ((options & BusOption) != 0)
        addOptions({{BusName, QStringLiteral("The bus; without it, the one that VOX_BUS names."),
                     QStringLiteral("URL")}});
    if ((options & JsonOption) != 0)
        addOptions({{JsonName, QStringLiteral("Print JSON.")}});
}

void CommandLine::addOptions(const QList<QCommandLineOption> &options)
{
    m_parser.addOptions(options);
    m_description.options += options;
}

void CommandLine::addArgument(const QString &name, const QString &description, const QString &syntax)
{
    m_parser.addPositionalArgument(name, description, syntax);
    m_description.arguments += {syntax, description};
}

bool CommandLine::parse(const QStringList &arguments)
{
    if (wanted) {
        *wanted = m_description;
        m_exitCode = Success;
        return false;
    }
    const QStringList line = QStringList{QStringLiteral("vox ") + m_description.name} + arguments;
    if (!m_parser.parse(line)) {
        m_exitCode = fail(m_parser.errorText());
        return false;
    }
    if (m_parser.isSet(QStringLiteral("help"))) {
        // The usage line of Qt names the program's file, not the command.
        QString text = m_parser.helpText();
        const int end = text.indexOf(QLatin1String(" [options]"));
        text.replace(0, end, QStringLiteral("Usage: vox ") + m_description.name);
        printLine(wrapped(QStringLiteral("%1\n\nExit codes: %2").arg(text.trimmed(), exitCodesText())));
        printLine(QStringLiteral("Example: ") + m_description.example);
        m_exitCode = Success;
        return false;
    }
    const QString twice = givenTwice();
    const QString fileName = wrongFileName();
    if (!twice.isEmpty())
        m_exitCode = fail(QStringLiteral("--%1 is given more than once").arg(twice));
    else if (!fileName.isEmpty())
        m_exitCode =
            fail(QStringLiteral("'%1' looks like an option, not like a file; ./%1 is a file").arg(fileName));
    return twice.isEmpty() && fileName.isEmpty();
}

/// A name where a file belongs that looks like an option: "--write --json" has lost its file. A '-' alone is
/// up to the command.
QString CommandLine::wrongFileName() const
{
    const QString fileWord = QStringLiteral("FILE");
    QStringList names;
    for (const QCommandLineOption &option : m_description.options) {
        if (option.valueName().contains(fileWord))
            names += m_parser.values(option);
    }
    const int last = static_cast<int>(m_description.arguments.size()) - 1;
    for (int i = 0; i < words().size() && last >= 0; ++i) {
        if (m_description.arguments.at(std::min(i, last)).syntax.contains(fileWord))
            names += words().at(i);
    }
    const auto isWrong = [](const QString &name) {
        return name.size() > 1 && name.startsWith(QLatin1Char('-'));
    };
    const auto found = std::find_if(names.cbegin(), names.cend(), isWrong);
    return found == names.cend() ? QString() : *found;
}

QString CommandLine::examplePath(const QString &name)
{
    const QString installed = QDir::cleanPath(QCoreApplication::applicationDirPath()
                                              + QStringLiteral("/../share/doc/vox-tools/examples/") + name);
    return QFileInfo::exists(installed) ? installed : QStringLiteral("examples/") + name;
}

/// The first option that takes one value and was given two. The program cannot know which is meant. Empty if
/// there is none.
QString CommandLine::givenTwice() const
{
    for (const QCommandLineOption &option : m_description.options) {
        QString name = option.names().constLast();
        if (!m_repeated.contains(name) && m_parser.values(option).size() > 1)
            return name;
    }
    return QString();
}

bool CommandLine::parse(const QStringList &arguments, int least, int most)
{
    if (!parse(arguments))
        return false;
    if (words().size() > most)
        m_exitCode = fail(QStringLiteral("unexpected '%1'").arg(words().at(most)));
    else if (words().size() < least)
        m_exitCode = fail(
            QStringLiteral("an argument is missing; 'vox %1 --help' tells which").arg(m_description.name));
    else
        return true;
    return false;
}

bool CommandLine::failRange(const QCommandLineOption &option, const QString &least, const QString &most)
{
    m_exitCode = fail(
        QStringLiteral("--%1 is to be a number from %2 to %3").arg(option.names().constLast(), least, most));
    return false;
}

bool CommandLine::isJson() const
{
    return m_parser.isSet(JsonName);
}

QString CommandLine::busUrl() const
{
    return m_parser.isSet(BusName) ? m_parser.value(BusName) : qEnvironmentVariable("VOX_BUS");
}

std::unique_ptr<VOXBus> CommandLine::openBus()
{
    QString problem = NoBus;
    const QString url = busUrl();
    std::unique_ptr<VOXBus> bus = url.isEmpty() ? nullptr : VOXBusUrl::openBus(url, &problem);
    if (!bus)
        m_exitCode = fail(problem);
    return bus;
}

int CommandLine::fail(const QString &problem) const
{
    printError(m_description.name, problem);
    return WrongUse;
}
