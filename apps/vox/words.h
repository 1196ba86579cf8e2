#ifndef WORDS_H
#define WORDS_H

#include <QString>
#include <QStringList>

/// The one of @p words that @p text is in another case, with a slip of the fingers, or a part of; empty if
/// none is near.
QString nearest(const QString &text, const QStringList &words);
///@{
/// "; did you mean 'scan'?", of a word that is meant, or of the nearest of @p words; nothing without one.
QString didYouMean(const QString &word);
QString didYouMean(const QString &text, const QStringList &words);
///@}

/// The name of the command with the id that @p text is in hexadecimal digits, or of the one that is near to
/// it; empty if there is none.
QString commandNear(const QString &text);

/// @p text with its lines broken at spaces, so that they fit a terminal of 80 columns. What is broken off of
/// an indented line is indented a little more.
QString wrapped(const QString &text);

/// Reads milliseconds: "500ms", "2s" or "1.5s"; an hour at most. False if @p text is none.
bool readDuration(const QString &text, int *ms);

#endif
