#ifndef COMPLETECOMMAND_H
#define COMPLETECOMMAND_H

#include <QStringList>

/// Prints what may take the place of the last of @p arguments, a word a line, for the completions of shells.
/// @p arguments are the words behind the program's name. Ends with 1 where a file name may come, else with 0.
int runComplete(const QStringList &arguments);

#endif
