#ifndef COMMAND_H
#define COMMAND_H

#include <QCommandLineParser>
#include <QStringList>

/// A command of the program: its name, what it is for, and what runs it with the arguments after the name.
struct Command
{
    QString name;
    QString summary;
    int (*run)(const QStringList &arguments);
};

/// The shared part of every command line: help, and errors in one line.
class CommandLine
{
public:
    CommandLine(const QString &command, const QString &description);

    QCommandLineParser &parser() { return m_parser; }
    /// True if the command is to go on; else exitCode() is the program's.
    bool parse(const QStringList &arguments);
    int exitCode() const { return m_exitCode; }
    /// Prints what is wrong with the command line and returns the exit code for it.
    int fail(const QString &problem) const;

private:
    QString m_command;
    QCommandLineParser m_parser;
    int m_exitCode = 0;
};

#endif
