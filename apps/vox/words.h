#ifndef WORDS_H
#define WORDS_H

#include <QString>
#include <QStringList>

/// The one of @p words that @p text is in another case, or with a slip of the fingers; empty if none is near.
QString nearest(const QString &text, const QStringList &words);
/// "; did you mean 'scan'?", or nothing if none of @p words is near.
QString didYouMean(const QString &text, const QStringList &words);

/// Reads milliseconds: "500ms", "2s" or "1.5s"; an hour at most. False if @p text is none.
bool readDuration(const QString &text, int *ms);

#endif
