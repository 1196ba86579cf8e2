#ifndef INVENTORY_H
#define INVENTORY_H

#include "panel/panelline.h"

#include <QJsonObject>

#include <functional>

/// What a person takes home from an installation.
namespace Inventory {
/// A table for spreadsheets, a row for each node. Texts that a spreadsheet would take for a formula are
/// quoted.
QByteArray csv(const QVector<PanelLine *> &lines, const std::function<bool(const QString &key)> &isChecked);

/// Of a motor, "0 … 20000", or why there are none; empty for what is none, and while nothing is known.
QString limits(const VOXNetworkNode &node);

/// A name as site files take it: "harbour-house" of "Harbour House".
QString plainName(const QString &name);

/// The site file of these lines, with their nodes as they are now. What else stands in @p before is kept,
/// also what it says about a node.
QJsonObject site(const QJsonObject &before, const QString &name, const QVector<PanelLine *> &lines);

/// Writes all or nothing. What has happened, as a sentence.
QString write(const QString &fileName, const QByteArray &text);
}

#endif
