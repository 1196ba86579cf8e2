#ifndef PANELCOMMAND_H
#define PANELCOMMAND_H

#include <QStringList>

/// Becomes the program vox-panel, with the same arguments.
int runPanel(const QStringList &arguments);

#endif
