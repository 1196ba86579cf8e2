#ifndef COMPLETECOMMAND_H
#define COMPLETECOMMAND_H

#include <QStringList>

/// Prints what may take the place of the last of @p arguments, a word a line, for the completions of shells.
/// The words before it are those behind the program's name. Nothing stands for the names of files.
int runComplete(const QStringList &arguments);

#endif
