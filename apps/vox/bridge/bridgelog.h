#ifndef BRIDGELOG_H
#define BRIDGELOG_H

#include <QElapsedTimer>
#include <QString>

/// Tells what a bridge notices, one line each on standard error. Of many lines in a short time the first are
/// told, and the others counted: whoever can send to the broker could fill a disk otherwise.
class BridgeLog
{
public:
    void tell(const QString &sentence);

private:
    QElapsedTimer m_period;
    int m_told = 0;
    int m_more = 0;
};

#endif
