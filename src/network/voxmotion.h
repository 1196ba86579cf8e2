#ifndef VOX_NETWORK_VOXMOTION_H
#define VOX_NETWORK_VOXMOTION_H

#include <vox/network/network_export.h>

#include <QObject>
#include <QPointer>

class VOXNetworkMotor;

/// What has become of one command that moves or stops a motor, or a group of motors.
///
/// First the motor accepts or refuses it, then it ends, exactly once. Owned by the network, which destroys it
/// some time after finished(); destroying the network ends it unheard.
/// @ingroup network
class VOX_NETWORK_EXPORT VOXMotion : public QObject
{
    Q_OBJECT
    Q_PROPERTY(End end READ end NOTIFY finished)
    Q_PROPERTY(QString sentence READ sentence NOTIFY finished)
    Q_PROPERTY(bool taken READ isAccepted NOTIFY accepted)

public:
    /// How it has ended. Of a group: Arrived if all have, else the end of the first one that has not.
    enum End : int {
        Running, ///< Not yet.
        Arrived, ///< At rest where it should be. Of a stop: at rest, as a status after the stop has said.
        Accepted, ///< A motor of the older generation has taken the command; it tells no more.
        Stopped, ///< At rest elsewhere: by a stop, or by itself.
        Blocked, ///< The motor says that it is blocked.
        Locked, ///< The motor is locked, and has refused or come to rest.
        Replaced, ///< A newer command, of this host or another one, has taken its place.
        Refused, ///< By the motor, for another reason.
        NoAnswer, ///< The motor, or the whole line, has fallen silent; or there is nobody to ask.
        Invalid ///< Nothing was sent, because there can be no such command.
    };
    Q_ENUM(End)

    ~VOXMotion() override;

    /// Null for a group, and once the motor has gone.
    VOXNetworkMotor *motor() const;
    ///@{
    /// How it stands. The end is final before finished() tells of it.
    End end() const { return m_end; }
    bool isFinished() const { return m_end != Running; }
    bool isAccepted() const { return m_isAccepted; }
    ///@}
    /// What has happened, and what to do. Empty while it runs.
    QString sentence() const { return m_sentence; }

Q_SIGNALS:
    /// The motor, or all motors that answer, have taken the command. At most once, and before finished().
    void accepted();
    /// Once, from the event loop.
    void finished(VOXMotion *motion);

private:
    friend class MotionBook;

    VOXMotion(VOXNetworkMotor *motor, QObject *parent);

    QPointer<VOXNetworkMotor> m_motor;
    End m_end = Running;
    bool m_isAccepted = false;
    QString m_sentence;
};

#endif
