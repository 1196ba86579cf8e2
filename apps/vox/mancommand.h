#ifndef MANCOMMAND_H
#define MANCOMMAND_H

#include <QStringList>

/// Prints the manual page of the program.
int runMan(const QStringList &arguments);

#endif
