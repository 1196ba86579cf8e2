#ifndef COVERMODEL_H
#define COVERMODEL_H

#include "vox/bridge/mqttlink.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <map>
#include <memory>
#include <optional>

/// What Home Assistant makes of the messages of a broker, as far as covers go, by its documented rules. What
/// it would take amiss is noted in faults.
class CoverModel
{
public:
    struct Cover
    {
        QJsonObject config;
        QMap<QByteArray, QByteArray> availability;
        /// As the state topic has said it last, or None.
        QByteArray word = "None";
        std::optional<double> position;
        QVector<qint64> flaps;
        bool wasAvailable = false;

        /// The state of the entity: opening, closing, unknown, closed or open.
        QByteArray state() const { return word == "None" ? QByteArray("unknown") : word; }
        QByteArray topic(const char *key) const
        {
            return config.value(QLatin1String(key)).toString().toUtf8();
        }
        bool canOpen() const { return position != 100; }
        bool canClose() const { return position != 0; }
    };

    explicit CoverModel(quint16 port, const QByteArray &id = "model") { start(port, id); }
    ~CoverModel()
    {
        if (link)
            link->stop();
    }

    /// Forgets all, as when it is restarted.
    void restart(quint16 port)
    {
        link->stop();
        covers.clear();
        m_documents.clear();
        m_topics.clear();
        start(port, "model");
    }
    void start(quint16 port, const QByteArray &id)
    {
        MqttLink::Options options;
        options.url.host = "127.0.0.1";
        options.url.port = port;
        options.clientId = id;
        link = std::make_unique<MqttLink>(options);
        QObject::connect(link.get(), &MqttLink::connected, [this] {
            link->subscribe("homeassistant/device/+/config", MqttLink::WithRetained);
            for (auto each = m_topics.cbegin(); each != m_topics.cend(); ++each)
                link->subscribe(each.key(), MqttLink::WithRetained);
            link->send({"homeassistant/status", "online", 0, false, {}, {}});
            noteAvailability();
        });
        QObject::connect(link.get(), &MqttLink::lost, [this] {
            for (auto &each : covers)
                for (QByteArray &word : each.second.availability)
                    word.clear();
            noteAvailability();
        });
        QObject::connect(link.get(), &MqttLink::received, [this](const MqttMessage &m) { take(m); });
        clock.start();
        link->start();
    }

    bool isAvailable(const QByteArray &id) const
    {
        const auto found = covers.find(id);
        return found != covers.end() && link->isConnected() && isAvailable(found->second);
    }
    void press(const QByteArray &id, const QByteArray &word)
    {
        const Cover &cover = covers[id];
        if ((word == "OPEN" && !cover.canOpen()) || (word == "CLOSE" && !cover.canClose()))
            return;
        link->send({cover.topic("cmd_t"), word, 0, false, {}, {}});
    }
    void setPosition(const QByteArray &id, int position)
    {
        link->send({covers[id].topic("set_pos_t"), QByteArray::number(position), 0, false, {}, {}});
    }

    /// By their identifiers.
    std::map<QByteArray, Cover> covers;
    QStringList faults;
    int received = 0;
    /// Rows that a recorder would keep: states and positions that are new.
    int rows = 0;
    std::unique_ptr<MqttLink> link;
    QElapsedTimer clock;
    /// All other messages, for whoever looks for one.
    QMap<QByteArray, QByteArray> last;

private:
    void fault(const QByteArray &what) { faults += QString::fromUtf8(what); }
    bool isAvailable(const Cover &cover) const
    {
        const auto &words = cover.availability;
        return std::all_of(words.begin(), words.end(), [](const QByteArray &w) { return w == "online"; });
    }
    /// An entity that comes and goes twice in a second fills logs, and fires automations.
    void noteAvailability()
    {
        for (auto &[id, cover] : covers) {
            const bool isNow = link->isConnected() && isAvailable(cover);
            if (std::exchange(cover.wasAvailable, isNow) == isNow)
                continue;
            cover.flaps += clock.elapsed();
            const int n = cover.flaps.size();
            if (n >= 5 && cover.flaps.at(n - 1) - cover.flaps.at(n - 5) < 1000)
                fault(id + " comes and goes twice in a second");
        }
    }

    void take(const MqttMessage &message)
    {
        ++received;
        last[message.topic] = message.payload;
        if (message.topic.startsWith("homeassistant/device/"))
            takeDocument(message.topic, message.payload);
        const QList<QByteArray> ids = m_topics.value(message.topic).values();
        for (const QByteArray &id : ids) {
            if (covers.count(id) > 0)
                takeValue(covers[id], id, message);
        }
    }

    void takeDocument(const QByteArray &topic, const QByteArray &payload)
    {
        const QByteArray id = topic.split('/').value(2);
        if (m_documents.value(topic) == payload)
            return;
        m_documents[topic] = payload;
        if (payload.isEmpty()) {
            covers.erase(id);
            return;
        }
        const QJsonObject document = QJsonDocument::fromJson(payload).object();
        check(id, document, {"dev", "o", "avty", "avty_mode", "qos", "cmps"});
        check(id, document["dev"].toObject(), {"ids", "name", "mdl", "sw", "sn", "sa", "via_device"});
        if (document["dev"].toObject()["name"].toString().isEmpty() || payload.contains("~"))
            fault(id + ": no name, or an abbreviated topic");
        if (!document["o"].toObject().contains("name") || document["avty_mode"] != "all")
            fault(id + ": no origin, or not all of the availability");
        const QJsonObject components = document["cmps"].toObject();
        for (const QJsonValue &value : components)
            takeComponent(id, value.toObject());
        const QJsonObject config = components["cover"].toObject();
        if (config.isEmpty())
            return;
        // The state of an entity survives a new document.
        Cover &cover = covers[id];
        cover.config = config;
        if (cover.topic("pos_t").isEmpty())
            cover.position.reset();
        const auto before = cover.availability;
        cover.availability.clear();
        const QJsonArray topics = document["avty"].toArray();
        for (const QJsonValue &each : topics) {
            const QByteArray name = each.toObject()["t"].toString().toUtf8();
            cover.availability[name] = before.value(name);
            follow(name, id);
        }
        for (const char *const key : {"stat_t", "pos_t"}) {
            if (!cover.topic(key).isEmpty())
                follow(cover.topic(key), id);
        }
    }
    void takeComponent(const QByteArray &id, const QJsonObject &component)
    {
        check(id, component,
              {"p", "uniq_id", "name", "default_entity_id", "dev_cla", "cmd_t", "stat_t", "pos_t",
               "set_pos_t", "json_attr_t", "val_tpl", "ent_cat", "en", "unit_of_meas", "pl_prs"});
        if (component["uniq_id"].toString().isEmpty())
            fault(id + ": a component without an identifier");
        if (component.contains("set_pos_t") && !component.contains("pos_t"))
            fault(id + ": a position that can be set and not be read");
    }
    void check(const QByteArray &id, const QJsonObject &object, const QStringList &known)
    {
        for (const QString &key : object.keys()) {
            if (!known.contains(key))
                fault(id + ": unknown key " + key.toUtf8());
        }
    }
    void follow(const QByteArray &topic, const QByteArray &id)
    {
        const bool isNew = !m_topics.contains(topic);
        m_topics[topic].insert(id);
        if (isNew)
            link->subscribe(topic, MqttLink::WithRetained);
        else if (last.contains(topic))
            takeValue(covers[id], id, {topic, last[topic], 0, true, {}, {}});
    }

    void takeValue(Cover &cover, const QByteArray &id, const MqttMessage &message)
    {
        if (cover.availability.contains(message.topic)) {
            if (message.payload != "online" && message.payload != "offline")
                fault(id + ": availability " + message.payload);
            cover.availability[message.topic] = message.payload;
            noteAvailability();
        } else if (message.topic == cover.topic("pos_t") && !message.payload.isEmpty()) {
            bool isNumber = false;
            const double position = message.payload.toDouble(&isNumber);
            if (!isNumber || position < 0 || position > 100)
                fault(id + ": position " + message.payload);
            rows += cover.position == position ? 0 : 1;
            cover.position = position;
        } else if (message.topic == cover.topic("stat_t")) {
            static const QByteArrayList words = {"opening", "closing", "open", "closed", "None"};
            if (!words.contains(message.payload))
                fault(id + ": state " + message.payload);
            const bool isClosed = message.payload == "closed";
            const bool isAtRest = isClosed || message.payload == "open";
            if (!message.isRetained && isAtRest && cover.position && isClosed != (*cover.position == 0))
                fault(id + ": " + message.payload + " at " + QByteArray::number(*cover.position));
            rows += cover.word == message.payload ? 0 : 1;
            cover.word = message.payload;
        }
    }

    QMap<QByteArray, QByteArray> m_documents;
    /// Which entities listen to a topic.
    QMap<QByteArray, QSet<QByteArray>> m_topics;
};

#endif
