#ifndef WARNINGS_H
#define WARNINGS_H

#include <QString>

/// From now on the warnings of the libraries are told in the words of the program, as errors of @p command.
/// Failed checks are counted, and told by tellWarnings(). Of all other warnings one a second is told at once,
/// and the rest are counted. With QT_LOGGING_RULES in the environment, everything is told as it is.
void catchWarnings(const QString &command);

enum class WarningForm { Text, Json };

/// From now on failed checks are told while the program runs, too: within a second, in one line at most. As
/// JSON, warnings are objects with "warning" on standard output.
void tellWarningsSoon(WarningForm form = WarningForm::Text);

/// To be called when a call has ended without an answer: if checks have failed since @p before, an answer
/// came damaged. Bytes of one frame may fail several checks, because a frame is looked for from each of them
/// on.
void foldFailedChecks(int before);
/// Damaged answers, and the failed checks since @p before, are not told: whoever calls this tells them in
/// words of its own.
void forgetDamage(int before = 0);
/// The number of failed checks that are neither told nor folded.
int failedChecks();
/// The number of checks that have failed since the program was started.
int allFailedChecks();

/// Tells the warnings that have not been told yet.
void tellWarnings();

#endif
