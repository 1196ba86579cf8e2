#ifndef CONSOLE_H
#define CONSOLE_H

#include <QString>

/// How the program ends.
enum ExitCode : int {
    Success = 0,
    /// The node has refused or not answered, or the output cannot be written.
    Failure = 1,
    /// The command line is wrong, or the bus cannot be opened.
    WrongUse = 2
};

/// The meaning of the codes, for people.
QString exitCodesText();

/// "1 frame", "2 frames".
QString counted(qint64 number, const char *noun);

/// @p text with a question mark for each character that a terminal would not show, or would obey.
QString printable(QString text);

/// @p line in rows of @p columns, if there is no word that is too long: the first row begins with a head, and
/// the others with as many spaces as that has characters. Groups of words, between two spaces, stay together
/// if they can.
QString wrapped(const QString &line, int columns, int headWidth);

/// Writes one line to standard output at once. If that fails, one error line says so, unless the reader has
/// closed the output.
void printLine(const QString &line);
/// Writes one line to standard error: the program, the command, and what is wrong.
void printError(const QString &command, const QString &problem);
/// Writes one line to standard error, as it is.
void printRaw(const QString &line);
/// On a terminal, writes one line to standard error, which the next one replaces. An empty line removes it.
void printProgress(const QString &line);
/// Whether standard output is a terminal.
bool isTerminal();
/// The width of the terminal that standard output is; 80 if it does not tell.
int terminalColumns();
/// Whether standard output shows colours: it is a terminal, no dumb one, and NO_COLOR is not set.
bool hasColour();
/// @p text in red where there are colours.
QString inRed(const QString &text);

/// From now on the program goes on when the reader of its output closes it.
void outliveReader();
/// The same, and printing never waits for a reader. Lines that nobody has read yet are kept as far as there
/// is room; the others are counted and left out.
void queueOutput();
/// Writes @p bytes to standard output as they are.
void printBytes(const QByteArray &bytes);
/// Whether all that was printed to standard output has been written, as far as queueOutput() keeps it.
bool isOutputWritten();
/// Waits until that is so, as long as somebody reads.
void waitForOutput();
/// Whether something could not be written to standard output.
bool hasOutputFailed();
/// Ends the queue that queueOutput() has begun. Gives the program's exit code: @p exitCode, or Failure in
/// place of Success if standard output could not be written.
int finishOutput(int exitCode);

#endif
