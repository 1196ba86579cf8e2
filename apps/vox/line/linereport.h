#ifndef LINEREPORT_H
#define LINEREPORT_H

#include "vox/line/linestatistics.h"

#include <QJsonObject>
#include <QStringList>

/// The report of @p statistics for people, a string for each line; then @p hints.
QStringList reportText(const LineStatistics &statistics, const QStringList &hints);
/// The same for programs. What no answer tells is null.
QJsonObject reportJson(const LineStatistics &statistics, const QStringList &hints);
/// The part of it that one node has.
QJsonObject reportJson(unsigned int addr, const NodeStatistics &node);

#endif
