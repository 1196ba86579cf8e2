#ifndef JUNITFILE_H
#define JUNITFILE_H

#include "vox/test/scenariorun.h"

#include <QSaveFile>

/// The report of a run as CI servers read it: a suite with a case for each scenario.
class JUnitFile
{
public:
    explicit JUnitFile(const QString &name);

    /// False if the file cannot be made; @p problem says why.
    bool open(QString *problem);
    /// Writes all at once. False if it cannot be written; there is then no file, or still the one before.
    bool write(const std::vector<ScenarioResult> &results, QString *problem);

private:
    QSaveFile m_file;
};

#endif
