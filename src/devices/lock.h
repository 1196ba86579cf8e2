#ifndef VOX_DEVICES_LOCK_H
#define VOX_DEVICES_LOCK_H

#include <vox/messages/vox.h>

/// A lock against movement: whether it is set, by whom, and with what priority.
///
/// A plain value, open and of priority 0 at first.
/// @ingroup devices
class VOX_EXPORT Lock
{
public:
    Lock() = default;
    /// Takes all three as they are: an open lock that has a priority still refuses lower ones.
    Lock(unsigned int source, VOX::LockStatus status, unsigned char priority);

    ///@{
    /// The address of the node that last set or cleared the lock, of which 24 bits travel.
    unsigned int getSource() const { return m_source; }
    void setSource(unsigned int source) { m_source = source; }
    ///@}

    ///@{
    /// Whether movement is locked. A change leaves source and priority as they are.
    bool isLocked() const { return m_status == VOX::LOCKED; }
    void setLock(bool locked) { m_status = locked ? VOX::LOCKED : VOX::UNLOCKED; }
    ///@}

    ///@{
    /// The least priority that admits() lets pass; 255 is the highest.
    unsigned char getCurrentPrio() const { return m_priority; }
    void setCurrentPrio(unsigned char priority) { m_priority = priority; }
    ///@}

    /// Whether a request with @p priority may change the lock.
    bool admits(unsigned char priority) const { return priority >= m_priority; }
    /// Stores the state that an admitted request wants; does not check admits(). An open lock has the
    /// priority 0, so that it admits everyone.
    void apply(bool locked, unsigned char priority, unsigned int source);

private:
    unsigned int m_source = 0;
    VOX::LockStatus m_status = VOX::UNLOCKED;
    unsigned char m_priority = 0;
};

#endif
