#ifndef MANYRESULT_H
#define MANYRESULT_H

#include "vox/bridge/covercommand.h"

#include <QBasicTimer>
#include <QJsonObject>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QVector>

class VOXMotion;
class VOXNetworkMotor;

/// What has become of one command for many motors: told when all have answered, or after 10 s. Destroys
/// itself then.
class ManyResult : public QObject
{
    Q_OBJECT

public:
    ManyResult(const QVector<VOXNetworkMotor *> &motors, CoverCommand::Kind kind, QObject *parent);

    /// The command has gone to @p addr by itself.
    void add(VOXMotion *motion, unsigned int addr);
    /// The command has gone to all by one frame.
    void watch(VOXMotion *motion = nullptr);

Q_SIGNALS:
    /// @p lists has "asked" and "done", numbers, and the addresses of those that have "refused", or are
    /// "silent".
    void finished(bool isGood, const QJsonObject &lists);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    enum Outcome { Done, Refused, Silent };

    Outcome outcomeOf(const VOXNetworkMotor *motor) const;
    void note(unsigned int addr, Outcome outcome);
    void finish();

    const CoverCommand::Kind m_kind;
    QMap<unsigned int, QPointer<VOXNetworkMotor>> m_motors;
    QMap<unsigned int, Outcome> m_outcomes;
    QBasicTimer m_timer;
    /// All have taken the command, or have ended without.
    bool m_isDecided = false;
};

#endif
