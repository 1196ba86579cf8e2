#ifndef COMMAND_H
#define COMMAND_H

#include <QCommandLineParser>
#include <QStringList>
#include <QVector>

#include <memory>
#include <type_traits>

class VOXBus;

/// A command of the program: its name, what it is for, and what runs it with the arguments after the name.
struct Command
{
    QString name;
    QString summary;
    int (*run)(const QStringList &arguments);
};

/// The arguments and options of a command, for manual pages and completions.
struct CommandDescription
{
    struct Argument
    {
        QString syntax;
        QString description;
    };

    /// Describes @p command without running it.
    static CommandDescription of(const Command &command);

    QString name;
    QString description;
    QString example;
    QList<QCommandLineOption> options;
    QVector<Argument> arguments;
};

/// The shared part of every command line: help, the bus, the form of the output, and errors in one line.
class CommandLine
{
public:
    enum Option {
        /// --bus; the environment's VOX_BUS is its default.
        BusOption = 1,
        JsonOption = 2
    };

    /// @p example is a command line that works against the example network.
    CommandLine(const QString &command, const QString &description, const QString &example, int options);

    /// The command's.
    const QString &name() const { return m_description.name; }
    const QCommandLineParser &parser() const { return m_parser; }
    void addOptions(const QList<QCommandLineOption> &options);
    /// Sets the options that may be given several times. All other options that take a value may be given
    /// once.
    void allowRepeated(const QStringList &names) { m_repeated = names; }
    /// Adds a positional argument, for the help; @p syntax shows whether it may be left out.
    void addArgument(const QString &name, const QString &description, const QString &syntax);

    /// True if the command is to go on; else exitCode() is the program's.
    bool parse(const QStringList &arguments);
    /// The same for commands that take at least @p least words and at most @p most.
    bool parse(const QStringList &arguments, int least, int most);
    int exitCode() const { return m_exitCode; }

    /// Takes the value of @p option, a number from @p least to @p most, into @p number, which stays as it is
    /// if the option has none. False if it is something else; then exitCode() is the program's.
    template <typename Number>
    bool readNumber(const QCommandLineOption &option, Number least, Number most, Number *number)
    {
        const QString text = m_parser.value(option);
        if (text.isEmpty() && !m_parser.isSet(option))
            return true;
        bool isNumber = false;
        const auto value = [&] {
            if constexpr (std::is_integral_v<Number>)
                return text.toLongLong(&isNumber);
            else
                return text.toDouble(&isNumber);
        }();
        if (!isNumber || !(value >= least && value <= most))
            return failRange(option, QString::number(least), QString::number(most));
        *number = static_cast<Number>(value);
        return true;
    }

    QStringList words() const { return m_parser.positionalArguments(); }
    bool isJson() const;
    /// The URL of the bus; empty if neither the option nor the environment names one.
    QString busUrl() const;
    /// Opens the bus; null if that fails, and then exitCode() is the program's.
    std::unique_ptr<VOXBus> openBus();

    /// Why a command cannot go on that needs a bus.
    static inline const QString NoBus = QStringLiteral("--bus URL is missing, and VOX_BUS is not set");
    /// Prints what is wrong with the command line and returns the exit code for it.
    int fail(const QString &problem) const;

    /// The path of an example for help: where a package has put it beside this program, else that in the
    /// sources.
    static QString examplePath(const QString &name);

private:
    bool failRange(const QCommandLineOption &option, const QString &least, const QString &most);
    QString givenTwice() const;
    QString wrongFileName() const;

    CommandDescription m_description;
    QCommandLineParser m_parser;
    QStringList m_repeated;
    int m_exitCode = 0;
};

#endif
