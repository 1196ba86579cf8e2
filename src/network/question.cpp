#include "network/question_p.h"

#include "messages/hrmv2.h"
#include "messages/kvr.h"
#include "network/nodestate_p.h"

#include <algorithm>
#include <iterator>

namespace {
constexpr int None = 0;
/// The number of an intermediate position is the first or the second byte of the data.
constexpr int NoIndex = -1;

struct Row
{
    Question question;
    int cmd;
    int legacyCmd;
    bool isForMotors;
};

constexpr Row rows[] = {
    {Question::Status, KVR::GET_MOTOR_STATUS, None, true},
    {Question::Position, KVR::GET_MOTOR_POSITION, None, true},
    {Question::Label, KVR::GET_NODE_LABEL, None, false},
    {Question::Serial, KVR::GET_NODE_SERIAL_NUMBER, None, false},
    {Question::AppVersion, KVR::GET_NODE_APP_VERSION, None, false},
    {Question::StackVersion, KVR::GET_NODE_STACK_VERSION, None, false},
    {Question::Limits, KVR::GET_MOTOR_LIMITS, HRMv2::GET_MOTOR_SETTINGS, true},
    {Question::Lock, KVR::GET_NETWORK_LOCK, HRMv2::GET_LOCK_STATUS, true},
    {Question::Speeds, KVR::GET_MOTOR_ROLLING_SPEED, None, true},
    {Question::AppMode, KVR::GET_APP_MODE, None, true},
    {Question::Intermediate, KVR::GET_MOTOR_IP, HRMv2::GET_MOTOR_IP, true},
};

/// What a setting changes, and where its data has the number of an intermediate position.
struct SettingRow
{
    int cmd;
    QuestionSet questions;
    int indexOffset = NoIndex;
};

constexpr QuestionSet LockAndStatus = QuestionSet(Question::Lock) | Question::Status;

constexpr SettingRow settings[] = {
    {KVR::SET_NODE_LABEL, Question::Label},
    {KVR::SET_APP_MODE, Question::AppMode},
    {KVR::SET_MOTOR_LIMITS, QuestionSet(Question::Limits) | Question::Position},
    {KVR::SET_MOTOR_DIRECTION, Question::Position},
    {KVR::SET_MOTOR_ROLLING_SPEED, Question::Speeds},
    {KVR::SET_MOTOR_IP, Question::Intermediate, 1},
    {KVR::CTRL_NETWORK_LOCK, LockAndStatus},
    {KVR::SET_NETWORK_LOCK, LockAndStatus},
    {KVR::SET_FACTORY_DEFAULT,
     Questions::Values | Question::Limits | Question::Lock | Question::Speeds | Question::AppMode},
};

constexpr SettingRow legacySettings[] = {
    {HRMv2::SET_IP, Question::Intermediate, 0},
    {HRMv2::SET_LOCK_STATUS, Question::Lock},
};

const Row &rowOf(Question question)
{
    return *std::find_if(std::begin(rows), std::end(rows),
                         [=](const Row &row) { return row.question == question; });
}

int cmdOf(const NodeState &node, const Row &row)
{
    if (row.isForMotors && !node.isMotor)
        return None;
    return node.isLegacy ? row.legacyCmd : row.cmd;
}

SettingRow settingOf(const NodeState &node, unsigned char cmd)
{
    const auto find = [=](const auto &table) {
        const auto *const row = std::find_if(std::begin(table), std::end(table),
                                             [=](const SettingRow &each) { return each.cmd == cmd; });
        return row == std::end(table) ? SettingRow{None, {}} : *row;
    };
    return node.isLegacy ? find(legacySettings) : find(settings);
}
}

QuestionSet Questions::of(const NodeState &node)
{
    QuestionSet questions;
    for (const Row &row : rows)
        questions.setFlag(row.question, cmdOf(node, row) != None);
    return questions;
}

Question Questions::heartbeat(const NodeState &node)
{
    if (!node.isMotor)
        return Question::Label;
    return node.isLegacy ? Question::Lock : Question::Status;
}

VOXCall Questions::call(const NodeState &node, Question question, int index)
{
    const auto cmd = static_cast<unsigned char>(cmdOf(node, rowOf(question)));
    VOXCall call(node.isLegacy ? HRMv2::findCmd(cmd) : KVR::findCmd(cmd), VOX::HostAddr, node.addr, 0);
    // The older generation counts from 0.
    if (question == Question::Intermediate)
        call.data()[VOXMessage::HeaderLength] = static_cast<char>(node.isLegacy ? index - 1 : index);
    return call;
}

std::optional<Question> Questions::askedBy(const NodeState &node, unsigned char cmd)
{
    for (const Row &row : rows) {
        if (cmd != None && cmdOf(node, row) == cmd)
            return row.question;
    }
    return std::nullopt;
}

QuestionSet Questions::changedBy(const NodeState &node, unsigned char cmd)
{
    return settingOf(node, cmd).questions;
}

int Questions::indexOf(const NodeState &node, const VOXMessage &request)
{
    const int offset = VOXMessage::HeaderLength + std::max(settingOf(node, request.cmd()).indexOffset, 0);
    const QByteArray &bytes = request.data();
    const int index = offset < bytes.size() ? static_cast<unsigned char>(bytes.at(offset)) : 0;
    return node.isLegacy ? index + 1 : index;
}

void QuestionQueue::add(NodeState &node, QuestionSet questions)
{
    Entry &entry = node.*m_entry;
    entry.questions |= questions & Questions::of(node);
    if (!entry.questions || entry.isQueued)
        return;
    entry.isQueued = true;
    m_nodes.push_back(&node);
}

void QuestionQueue::remove(NodeState &node)
{
    (node.*m_entry) = Entry();
    m_nodes.erase(std::remove(m_nodes.begin(), m_nodes.end(), &node), m_nodes.end());
}

NodeState *QuestionQueue::pop()
{
    while (!m_nodes.empty()) {
        NodeState *const node = m_nodes.front();
        m_nodes.pop_front();
        (node->*m_entry).isQueued = false;
        if ((node->*m_entry).questions)
            return node;
    }
    return nullptr;
}

Question QuestionQueue::takeFirst(NodeState &node)
{
    Entry &entry = node.*m_entry;
    // The lowest bit.
    const auto bits = static_cast<unsigned int>(entry.questions);
    const auto question = static_cast<Question>(bits & (~bits + 1));
    entry.questions.setFlag(question, false);
    add(node, {});
    return question;
}
