#ifndef CONSOLE_H
#define CONSOLE_H

#include <QString>

/// How the program ends.
enum ExitCode : int {
    Success = 0,
    /// Refused by the node, or no answer; or the output cannot be written.
    Failure = 1,
    /// A wrong command line, or a bus that cannot be opened.
    WrongUse = 2
};

/// What the codes mean, for people.
QString exitCodesText();

/// "1 frame", "2 frames".
QString counted(qint64 number, const char *noun);

/// @p text with a question mark for what a terminal would not show, or would obey.
QString printable(QString text);

/// One line to standard output, at once. If that fails, an error line says so, once, unless the reader has
/// closed it.
void printLine(const QString &line);
/// One line to standard error: the program, the command, and what is wrong.
void printError(const QString &command, const QString &problem);
/// One line to standard error, as it is.
void printRaw(const QString &line);
/// On a terminal, one line on standard error that the next one replaces; an empty one removes it.
void printProgress(const QString &line);
/// Whether standard output is a terminal.
bool isTerminal();

/// From now on the program goes on when the reader of its output closes it.
void outliveReader();
/// The same, and nobody waits until the output is read: as much as there is room for is kept until then, and
/// the rest counted and left out.
void queueOutput();
/// Whether something could not be written to standard output.
bool hasOutputFailed();
/// Ends what queueOutput() has begun. Gives the program's exit code: Failure in place of Success if standard
/// output could not be written.
int finishOutput(int exitCode);

#endif
