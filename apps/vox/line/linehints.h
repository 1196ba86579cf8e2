#ifndef LINEHINTS_H
#define LINEHINTS_H

#include "vox/line/linestatistics.h"

#include <QSet>
#include <QStringList>

/// What may be wrong with a line, each in one sentence that names its evidence; empty for a healthy one. With
/// @p only, of what is wrong with single nodes only what concerns these.
QStringList hintsOf(const LineStatistics &statistics, const QSet<unsigned int> &only = {});

/// All sentences that hintsOf() may say, with %1, %2, ... for what differs.
QStringList hintSentences();

#endif
