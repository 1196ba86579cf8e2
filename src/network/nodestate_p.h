#ifndef VOX_NETWORK_NODESTATE_P_H
#define VOX_NETWORK_NODESTATE_P_H

#include <vox/messages/kvranswer.h>
#include <vox/network/motionbook_p.h>
#include <vox/network/presence_p.h>
#include <vox/network/question_p.h>
#include <vox/network/voxnetworkmotor.h>

#include <QVector>

#include <memory>
#include <optional>

/// What a motor has told.
struct MotorState
{
    std::optional<int> percent;
    std::optional<int> pulses;
    std::optional<int> tilt;
    std::optional<int> intermediate;
    std::optional<KVRMotor::Status> status;
    std::optional<int> upLimit;
    std::optional<int> downLimit;
    std::optional<bool> isLocked;
    std::optional<VOXNetworkMotor::Speeds> speeds;
    std::optional<KVRMotor::AppMode> appMode;
    /// In percent; empty for one that is not set.
    QVector<std::optional<int>> intermediates;

    /// Runs, other than to show which one it is.
    bool isRunning() const
    {
        return status && status->state == KVRMotor::STATE_RUNNING && status->cause != KVRMotor::CAUSE_WINK;
    }
    bool isGoingUp() const { return status && status->direction == KVRMotor::DIRECTION_UP; }
    /// In percent, as exactly as it is known.
    std::optional<double> exactPercent() const;
};

/// All that the network keeps of a node.
struct NodeState
{
    static constexpr qint64 Never = -1;

    VOXNetworkNode *node = nullptr;
    VOX::Addr addr = 0;
    VOX::NodeType type = VOX::NODETYPE_ANY;
    bool isMotor = true;
    /// Of the older generation. It does not change: another object would take its place.
    bool isLegacy = false;

    // What it has told.
    QString label;
    QString serialNumber;
    std::optional<KVRAnswer::Version> appVersion;
    std::optional<KVRAnswer::Version> stackVersion;
    QString lastRefusal;
    qint64 refusedMs = Never;
    MotorState motor;

    // Whether it is there.
    Presence presence;
    /// The line was down, too: it is asked once, as if it were up.
    bool isRecalled = false;
    qint64 heardMs = Never;

    // When it is asked.
    qint64 statusDueMs = 0;
    qint64 positionDueMs = 0;
    qint64 settingsDueMs = 0;
    bool isStatusSpread = false;
    bool isPositionSpread = false;
    /// The earliest of these, by which it stands at heapIndex.
    qint64 dueMs = 0;
    int heapIndex = -1;
    /// Whether it is a part of what the plan takes of the line.
    bool isCounted = false;
    /// Answers that somebody waits for, and those that can wait.
    QuestionQueue::Entry urgent;
    QuestionQueue::Entry patient;
    int nextIntermediate = 1;
    int urgentIntermediate = 1;

    // Its motion.
    qint64 positionMs = Never;
    /// In percent per second; 0 until it has been seen.
    double speedUp = 0;
    double speedDown = 0;
    bool hasMovingPosition = false;
    bool isWatched = false;
    std::unique_ptr<MotionRecord> move;
    std::unique_ptr<MotionRecord> stop;

    // What has not been told to the host yet.
    bool isValueNews = false;
    bool isPresenceNews = false;
    // What was noticed already.
    bool isDouble = false;

    /// The address, and the label if it has one.
    QString name() const;
};

#endif
