#include "vox/mancommand.h"

#include "vox/commands.h"
#include "vox/console.h"

#include <QCoreApplication>

namespace {
/// Escapes text for the formatter of manual pages: hyphens stay hyphens, and no line begins with a request.
QString escaped(const QString &text)
{
    QString result = text;
    result.replace(QLatin1Char('\\'), QLatin1String("\\e")).replace(QLatin1Char('-'), QLatin1String("\\-"));
    result.replace(QLatin1String("\n\n"), QLatin1String("\n.PP\n"));
    result.replace(QLatin1String("\n'"), QLatin1String("\n\\&'"));
    return result;
}

QString optionText(const QCommandLineOption &option)
{
    QStringList names;
    const QStringList all = option.names();
    for (const QString &name : all)
        names += (name.size() == 1 ? QStringLiteral("\\-") : QStringLiteral("\\-\\-")) + escaped(name);
    const QString value =
        option.valueName().isEmpty() ? QString() : QStringLiteral(" \\fI%1\\fR").arg(option.valueName());
    return QStringLiteral(".TP\n\\fB%1\\fR%2\n%3")
        .arg(names.join(QStringLiteral(", ")), value, escaped(option.description()));
}

/// An example as it works where the package is installed.
QString inPackage(const QString &example)
{
    return QString(example).replace(QLatin1String(" examples/"), QLatin1String(" " VOX_EXAMPLES "/"));
}

QString commandText(const Command &command)
{
    const CommandDescription description = CommandDescription::of(command);
    QStringList words = {QStringLiteral("vox %1 [options]").arg(command.name)};
    QStringList lines;
    for (const CommandDescription::Argument &argument : description.arguments) {
        words += argument.syntax;
        lines += QStringLiteral(".TP\n\\fI%1\\fR\n%2").arg(argument.syntax, escaped(argument.description));
    }
    for (const QCommandLineOption &option : description.options)
        lines += optionText(option);
    return QStringLiteral(".SS \"%1\"\n%2\n%3\n.PP\nExample:\n.PP\n.EX\n%4\n.EE")
        .arg(escaped(words.join(QLatin1Char(' '))), escaped(description.description),
             lines.join(QLatin1Char('\n')), escaped(inPackage(description.example)));
}
}

int runMan(const QStringList &arguments)
{
    Q_UNUSED(arguments)
    printLine(QStringLiteral(".TH VOX 1 \"\" \"vox %1\" \"User Commands\"\n.SH NAME\nvox \\- simulate, "
                             "monitor and command a VOX network\n"
                             ".SH SYNOPSIS\n.B vox\n\\fICOMMAND\\fR [\\fIoptions\\fR]\n.SH DESCRIPTION\nFor "
                             "those who install, test "
                             "and debug networks of motorised window coverings.\n.SH COMMANDS")
                  .arg(QCoreApplication::applicationVersion()));
    for (const Command &command : commands())
        printLine(commandText(command));
    printLine(QStringLiteral(".SH "
                             "BUSES\nserial:///dev/ttyUSB0?baud=RATE&parity=PARITY\n.br\nudp://"
                             "DESTINATION:PORT?local=PORT&bind=ADDRESS\n.br\n"
                             "mcast://GROUP:PORT?bind=ADDRESS&alias=NAME&latency=MS\n.br\npty:\n"
                             ".SH ENVIRONMENT\n.TP\n\\fBVOX_BUS\\fR\nThe bus of commands without \\-\\-bus.\n"
                             ".SH \"EXIT STATUS\"\n%1")
                  .arg(exitCodesText()));
    return Success;
}
