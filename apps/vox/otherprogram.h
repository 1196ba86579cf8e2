#ifndef OTHERPROGRAM_H
#define OTHERPROGRAM_H

#include <QStringList>

/// The path of the program @p name: beside this one, in one of @p folders as seen from there, or in PATH.
/// Empty if there is none.
QString findProgram(const QString &name, const QStringList &folders);

/// Goes on as @p program, with @p arguments, in the same process. Returns only if that fails, and why.
QString becomeProgram(const QString &program, const QStringList &arguments);

#endif
