#ifndef VOXANSWER_P_H
#define VOXANSWER_P_H

#include "messages/kvrnack.h"
#include "messages/kvrschema_p.h"
#include "messages/voxreply.h"
#include "messages/voxschema_p.h"
#include "proxies/voxnode.h"

#include <tuple>

/// How nodes answer: the shape of every data reply, and tables of what answers which command.
namespace VOXAnswer {

/// The reply @p Command with @p values, one a field.
template <auto Command, typename... Values>
VOXReply answer(const VOXNode &node, const VOXMessage &request, const Values &...values)
{
    VOXReply reply(node, request, static_cast<unsigned char>(Command), VOXSchema::sentLength<Command>);
    VOXSchema::put<Command>(reply, values...);
    reply.prepare();
    return reply;
}

/// The same with all fields in a value that knows how they travel.
template <auto Command, typename Value>
VOXReply answerWith(const VOXNode &node, const VOXMessage &request, const Value &value)
{
    VOXReply reply(node, request, static_cast<unsigned char>(Command), VOXSchema::sentLength<Command>);
    VOXDataWriter writer(reply);
    writer << value;
    reply.prepare();
    return reply;
}

/// Reads the fields of @p Command into @p outputs, of which null pointers skip theirs.
template <auto Command, typename... Outputs>
void read(const VOXMessage &request, Outputs &&...outputs)
{
    VOXDataReader reader(request);
    VOXSchema::take<Command>(reader, outputs...);
}

/// What on<> checks besides the state of a motor, which is told by KVRMotorDevice::Check.
enum Condition : int {
    /// Else a request shorter than its command's frame is NACK_MSGSIZE.
    AnyLength = 0x100,
    /// Nothing is done, nor answered, without the ack flag. Checked first.
    OnlyIfAsked = 0x200
};

/// Answers @p request at @p node, checks included.
template <typename Node>
using Answer = VOXReply (*)(Node &node, const VOXMessage &request);

template <typename Node>
struct Handler
{
    unsigned char cmd;
    Answer<Node> answer;
};

/// A friend of those whose state is checked.
struct Checked
{
    /// What travels for @p Type. It has to be checked before it becomes an enumeration.
    template <typename Type>
    using Raw = std::conditional_t<std::is_enum_v<Type> || std::is_same_v<Type, bool>, quint8, Type>;

    template <auto Command, auto Method, int Checks, typename Node>
    static VOXReply answer(Node &node, const VOXMessage &request)
    {
        if ((Checks & OnlyIfAsked) != 0 && !request.isAck())
            return VOXReply();
        constexpr int Length = VOXCmdTable::findRow<Command>().size & VOXMessage::LengthMask;
        static_assert(Length != 0, "no command of this set");
        if constexpr ((Checks & AnyLength) == 0) {
            if (const KVR::NackStatus refused = refusal<Checks & ~OnlyIfAsked>(node, request, Length))
                return KVRNack(nodeOf(node), request, refused);
        }
        if constexpr (std::is_invocable_v<decltype(Method), Node &, const VOXMessage &>) {
            return (node.*Method)(request);
        } else {
            static_assert((Checks & AnyLength) == 0
                              && VOXMessage::MinLength + VOXSchema::layout<Command>.width() <= Length,
                          "a frame that passes may be too short for its fields");
            return withFields<Command, Method>(node, request, VOXSchema::layout<Command>);
        }
    }

private:
    template <typename Node>
    static auto &nodeOf(Node &node)
    {
        if constexpr (std::is_base_of_v<VOXNode, Node>)
            return node;
        else
            return node.m_motor;
    }

    template <int State, typename Node>
    static KVR::NackStatus refusal(Node &node, const VOXMessage &request, int length)
    {
        if constexpr (State == 0)
            return request.len() < length ? KVR::NACK_MSGSIZE : KVR::NACK_ACK;
        else
            return nodeOf(node).refusal(request, length, State);
    }

    template <auto Command, auto Method, typename Node, typename... Fields>
    static VOXReply withFields(Node &node, const VOXMessage &request, const VOXSchema::Layout<Fields...> &)
    {
        std::tuple<Raw<typename Fields::Type>...> values;
        return std::apply(
            [&](auto &...value) {
                read<Command>(request, value...);
                return (node.*Method)(request, value...);
            },
            values);
    }
};

template <typename Node, typename... Values>
Node *classOf(VOXReply (Node::*)(const VOXMessage &, Values...));
template <typename Node, typename... Values>
Node *classOf(VOXReply (Node::*)(const VOXMessage &, Values...) const);

/// One row of a table: @p Command is answered by @p Method once @p Checks are passed. That is given the
/// request, and the fields of @p Command if it wants them: enumerations and flags as the bytes that travel.
template <auto Command, auto Method, int Checks = 0>
inline constexpr Handler<std::remove_pointer_t<decltype(classOf(Method))>> on = {
    static_cast<unsigned char>(Command), &Checked::answer<Command, Method, Checks>};

/// What answers which command at one class of nodes.
template <typename Node>
class Table
{
public:
    template <std::size_t Count>
    explicit constexpr Table(const Handler<Node> (&handlers)[Count])
    {
        for (const Handler<Node> &handler : handlers)
            m_answers[handler.cmd] = handler.answer;
    }

    /// Null if nothing here does.
    constexpr Answer<Node> find(unsigned char cmd) const { return m_answers[cmd]; }

    /// False, with @p answer left alone, if nothing here answers @p request.
    bool answer(Node &node, const VOXMessage &request, VOXReply *answer) const
    {
        const Answer<Node> found = find(request.cmd());
        if (found)
            *answer = found(node, request);
        return found;
    }

private:
    Answer<Node> m_answers[256] = {};
};

}

#endif
