// A network as lines of JSON, for programs in any language: example-gateway serial:///dev/ttyUSB0
// Each line of output is a change: a node with all its values, the line, the end of a command. Each line of
// input is a command, whose "id" comes back with what becomes of it. The program ends with its input.
//     {"do": "move", "node": "000101", "percent": 50, "id": 1}
//     {"do": "stop", "node": "000101"}      {"do": "stopAll"}      {"do": "discover"}
// Where so many nodes answer a discovery that their answers overlap, {"do": "add", "node": "000101"} each.

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QMetaProperty>
#include <VOXBusUrl>
#include <VOXNetwork>

#include <iostream>
#include <thread>

namespace {
void print(const QJsonObject &object)
{
    std::cout << QJsonDocument(object).toJson(QJsonDocument::Compact).constData() << std::endl;
}

void tellNode(const VOXNetworkNode *node)
{
    QJsonObject values;
    const QMetaObject &meta = *node->metaObject();
    // Without the name that each QObject has. What is not known is null.
    for (int i = QObject::staticMetaObject.propertyCount(); i < meta.propertyCount(); ++i)
        values.insert(meta.property(i).name(), QJsonValue::fromVariant(meta.property(i).read(node)));
    values.insert("presence", QVariant::fromValue(node->presence()).toString());
    print(values);
}

void obey(VOXNetwork &network, const QByteArray &line)
{
    const QJsonObject command = QJsonDocument::fromJson(line).object();
    const QString act = command["do"].toString(), addrText = command["node"].toString();
    const QJsonValue id = command["id"];
    QString problem;
    VOX::Addr addr = 0;
    if (act == "discover")
        return network.discover();
    if (act == "add" && VOX::readNodeAddr(addrText, &addr, &problem))
        return void(network.add(addr));
    if (act == "move" || act == "stop") {
        if (VOX::readNodeAddr(addrText, &addr, &problem) && !network.motor(addr))
            problem = addrText + " is no motor of this network";
        else if (act == "move" && problem.isEmpty() && !command["percent"].isDouble())
            problem = "a move needs a \"percent\" from 0 to 100";
    } else if (act != "stopAll" && problem.isEmpty()) {
        problem = "a command is {\"do\": ...} with move, stop, stopAll, discover or add";
    }
    if (!problem.isEmpty())
        return print({{"error", problem}, {"id", id}});
    const VOXMotion *motion = act == "stopAll" ? network.stopAll()
        : act == "stop"                        ? network.motor(addr)->stop()
                                               : network.motor(addr)->moveTo(command["percent"].toInt(-1));
    QObject::connect(motion, &VOXMotion::finished, &network, [id](const VOXMotion *ended) {
        print({{"ended", QVariant::fromValue(ended->end()).toString()},
               {"sentence", ended->sentence()},
               {"id", id}});
    });
}
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules("vox.bus.debug=false");
    VOXBusUrl url;
    QString problem;
    if (!VOXBusUrl::read(QCoreApplication::arguments().value(1), &url, &problem)) {
        qCritical("%s", qPrintable(problem));
        return 2;
    }
    VOXNetwork network(url);
    QObject::connect(&network, &VOXNetwork::nodeAdded, tellNode);
    QObject::connect(&network, &VOXNetwork::nodeChanged, tellNode);
    const auto tellLine = [&network] {
        print({{"line", QVariant::fromValue(network.line()).toString()}, {"problem", network.lineProblem()}});
        if (network.line() == VOXNetwork::Open)
            network.discover();
    };
    QObject::connect(&network, &VOXNetwork::lineChanged, tellLine);
    QObject::connect(&network, &VOXNetwork::discovered, [](int count) { print({{"discovered", count}}); });
    QObject::connect(&network, &VOXNetwork::noticed, [](const QString &text) { print({{"noticed", text}}); });
    if (network.line() != VOXNetwork::Open)
        tellLine();

    // Lines are waited for on a thread of their own; all else is done on the network's.
    std::thread reader([&] {
        for (std::string line; std::getline(std::cin, line);)
            QMetaObject::invokeMethod(&network, [&network, line] { obey(network, line.c_str()); });
        QMetaObject::invokeMethod(&app, &QCoreApplication::quit);
    });
    QCoreApplication::exec();
    reader.join();
}
