#ifndef CONSOLE_H
#define CONSOLE_H

#include <QString>

/// How the program ends.
enum ExitCode : int {
    Success = 0,
    /// Refused by the node, or no answer.
    Failure = 1,
    /// A wrong command line, or a bus that cannot be opened.
    WrongUse = 2
};

/// "1 frame", "2 frames".
QString counted(qint64 number, const char *noun);

/// One line to standard output, at once.
void printLine(const QString &line);
/// One line to standard error: the program, the command, and what is wrong.
void printError(const QString &command, const QString &problem);
/// On a terminal, one line on standard error that the next one replaces; an empty one removes it.
void printProgress(const QString &line);
/// Whether standard output is a terminal.
bool isTerminal();

#endif
