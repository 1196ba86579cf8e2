#ifndef VOX_DEVICES_VOXANSWER_P_H
#define VOX_DEVICES_VOXANSWER_P_H

#include <vox/messages/kvrnack.h>
#include <vox/messages/kvrschema_p.h>
#include <vox/messages/voxreply.h>
#include <vox/messages/voxschema_p.h>
#include <vox/proxies/voxnode.h>

#include <tuple>

/// How nodes answer: the shape of every data reply, and tables of what answers which command.
namespace VOXAnswer {

/// The reply @p Command with @p values, one for each field.
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

/// The checks of on<> besides those of a motor's state, which are in KVRMotorDevice::Check.
enum Condition : int {
    /// Without this flag, a request shorter than its command's frame is refused with NACK_MSGSIZE.
    AnyLength = 0x100,
    /// A request without the ack flag is neither done nor answered. Checked first.
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

/// The node that a handler belongs to, and the values that it takes.
template <typename Node, typename... Values>
struct Signature
{
    using Class = Node;
    using Fields = std::tuple<std::decay_t<Values>...>;
};
template <typename Node, typename... Values>
Signature<Node, Values...> signatureOf(VOXReply (Node::*)(const VOXMessage &, Values...));
template <typename Node, typename... Values>
Signature<Node, Values...> signatureOf(VOXReply (Node::*)(const VOXMessage &, Values...) const);

/// A friend of the classes whose state is checked.
struct Checked
{
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
        using Fields = typename decltype(signatureOf(Method))::Fields;
        constexpr std::size_t Count = std::tuple_size_v<Fields>;
        if constexpr (Count == 0) {
            return (node.*Method)(request);
        } else {
            constexpr auto &Layout = VOXSchema::layout<Command>;
            static_assert((Checks & AnyLength) == 0
                              && VOXMessage::MinLength + Layout.widthOf(Count) <= Length,
                          "a frame that passes may be too short for its fields");
            return withFields<Command, Method>(node, request, Fields(),
                                               std::make_index_sequence<std::size(Layout.fields) - Count>());
        }
    }

private:
    template <std::size_t>
    static constexpr std::nullptr_t Skipped = nullptr;

    template <auto Command, auto Method, typename Node, typename Fields, std::size_t... Others>
    static VOXReply withFields(Node &node, const VOXMessage &request, Fields fields,
                               std::index_sequence<Others...>)
    {
        const auto handle = [&](auto &...field) {
            VOXDataReader reader(request);
            VOXSchema::take<Command>(reader, field..., Skipped<Others>...);
            return (node.*Method)(request, field...);
        };
        return std::apply(handle, fields);
    }

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
};

/// One row of a table: @p Method answers @p Command once @p Checks are passed. It gets the request, and as
/// many of the first fields of @p Command as it takes. Enumerations and flags should be taken as the bytes
/// that travel, so that the method can check them.
template <auto Command, auto Method, int Checks = 0>
inline constexpr Handler<typename decltype(signatureOf(Method))::Class> on = {
    static_cast<unsigned char>(Command), &Checked::answer<Command, Method, Checks>};

/// The handlers of one class of nodes, by command.
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

    /// Null if nothing here answers @p cmd.
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
