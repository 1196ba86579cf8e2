#include "vox/command.h"

#include "vox/console.h"

CommandLine::CommandLine(const QString &command, const QString &description)
    : m_command(command)
{
    m_parser.setApplicationDescription(description);
    m_parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help.")});
}

bool CommandLine::parse(const QStringList &arguments)
{
    const QStringList line = QStringList{QStringLiteral("vox ") + m_command} + arguments;
    if (!m_parser.parse(line)) {
        m_exitCode = fail(m_parser.errorText());
        return false;
    }
    if (m_parser.isSet(QStringLiteral("help"))) {
        // The first positional argument is the command, which the usage line has to show.
        QString text = m_parser.helpText();
        text.replace(QLatin1String(" [options]"), QStringLiteral(" %1 [options]").arg(m_command));
        printLine(text.trimmed());
        m_exitCode = Success;
        return false;
    }
    return true;
}

int CommandLine::fail(const QString &problem) const
{
    printError(m_command, problem);
    return WrongUse;
}
