#include "vox/bridge/bridgecommand.h"

#include "messages/vox.h"
#include "simulation/voxjsonplace_p.h"
#include "vox/bridge/bridge.h"
#include "vox/bridge/linebridge.h"
#include "vox/bridge/sitecheck.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/otherprogram.h"
#include "vox/signalwatcher.h"
#include "vox/warnings.h"

#include <QCoreApplication>
#include <QFile>
#include <QSysInfo>
#include <QTimer>

#include <csignal>
#include <functional>

namespace {
constexpr int MaxTolerance = 10;
constexpr int ForgetMs = 10000;

/// The host's name as a name of a bridge.
QString hostName()
{
    QString name = QSysInfo::machineHostName().section(QLatin1Char('.'), 0, 0).toLower();
    for (QChar &each : name) {
        if (!SiteConfig::isName(QString(each)))
            each = QLatin1Char('-');
    }
    return SiteConfig::isName(name) ? name : QStringLiteral("gateway");
}

/// Whether the files are there that TLS is to have. The library names no file that is missing.
bool canRead(const QStringList &names, QString *problem)
{
    for (const QString &name : names) {
        QFile file(name);
        if (!name.isEmpty() && !file.open(QIODevice::ReadOnly)) {
            *problem = QStringLiteral("cannot read %1: %2").arg(name, file.errorString());
            return false;
        }
    }
    return true;
}

/// The options that say what a file would say otherwise.
struct Options
{
    explicit Options(CommandLine &commandLine)
        : line(commandLine)
    {
        line.addOptions(
            {mqtt, config, name, password, ca, cert, key, version, tolerance, log, check, dry, forget});
    }

    QString value(const QCommandLineOption &option) const { return line.parser().value(option); }
    bool isSet(const QCommandLineOption &option) const { return line.parser().isSet(option); }

    bool read(SiteConfig *site, QString *problem) const;
    bool readFile(const QString &fileName, SiteConfig *site, QString *problem) const;
    bool readBroker(SiteConfig::Broker *broker, QString *problem) const;

    CommandLine &line;
    QCommandLineOption mqtt{QStringLiteral("mqtt"),
                            QStringLiteral("The broker: mqtt://USER@HOST:PORT, or mqtts:// for TLS."),
                            QStringLiteral("URL")};
    QCommandLineOption config{
        QStringLiteral("config"),
        QStringLiteral("A JSON file with the broker and any number of lines, in place of "
                       "--bus and --mqtt."),
        QStringLiteral("FILE")};
    QCommandLineOption name{QStringLiteral("name"),
                            QStringLiteral("What bridge and line are called; without it, as this machine."),
                            QStringLiteral("NAME")};
    QCommandLineOption password{QStringLiteral("password-file"),
                                QStringLiteral("A file whose first line is the password; without it, the "
                                               "environment's VOX_MQTT_PASSWORD."),
                                QStringLiteral("FILE")};
    QCommandLineOption ca{QStringLiteral("ca"),
                          QStringLiteral("The certificate of the authority that the broker's is from."),
                          QStringLiteral("FILE")};
    QCommandLineOption cert{QStringLiteral("cert"), QStringLiteral("The certificate of this client."),
                            QStringLiteral("FILE")};
    QCommandLineOption key{QStringLiteral("key"), QStringLiteral("The key that belongs to --cert."),
                           QStringLiteral("FILE")};
    QCommandLineOption version{QStringLiteral("mqtt-version"), QStringLiteral("5, or 3 for MQTT 3.1.1."),
                               QStringLiteral("N"), QStringLiteral("5")};
    QCommandLineOption tolerance{QStringLiteral("end-tolerance"),
                                 QStringLiteral("How close to an end counts as the end, 0 to 10 percent."),
                                 QStringLiteral("PERCENT"), QStringLiteral("1")};
    QCommandLineOption log{
        QStringLiteral("log"),
        QStringLiteral("How much is told on standard error: error, warning, info, or debug, "
                       "which tells each command."),
        QStringLiteral("LEVEL"), QStringLiteral("info")};
    QCommandLineOption check{
        QStringLiteral("check"),
        QStringLiteral("Says what is wrong with this file, and what answers on its lines; "
                       "no broker is needed."),
        QStringLiteral("FILE")};
    QCommandLineOption dry{
        QStringLiteral("dry"),
        QStringLiteral("Prints all topics and what would be said there; no broker is needed.")};
    QCommandLineOption forget{QStringLiteral("forget"),
                              QStringLiteral("Takes a node that is gone for good from the broker."),
                              QStringLiteral("LINE/ADDRESS")};
};

bool Options::readFile(const QString &fileName, SiteConfig *site, QString *problem) const
{
    QJsonObject object;
    if (!VOXJsonPlace::readFile(fileName, &object, problem))
        return false;
    if (SiteConfig::read(object, site, problem))
        return true;
    *problem = QStringLiteral("%1: %2").arg(fileName, *problem);
    return false;
}

bool Options::readBroker(SiteConfig::Broker *broker, QString *problem) const
{
    if (!isSet(mqtt) && !isSet(dry)) {
        *problem = QStringLiteral("--mqtt URL is missing, or --config FILE");
        return false;
    }
    if (isSet(mqtt) && !BrokerUrl::read(value(mqtt), &broker->url, problem)) {
        *problem = QStringLiteral("--mqtt: %1").arg(*problem);
        return false;
    }
    broker->passwordFile = value(password);
    broker->ca = value(ca);
    broker->cert = value(cert);
    broker->key = value(key);
    broker->version = value(version).toInt();
    if (broker->cert.isEmpty() != broker->key.isEmpty())
        *problem = QStringLiteral("--cert and --key belong together");
    else if (broker->version != 3 && broker->version != 5)
        *problem = QStringLiteral("--mqtt-version is to be 5, or 3");
    return problem->isEmpty();
}

bool Options::read(SiteConfig *site, QString *problem) const
{
    site->name = isSet(name) ? value(name) : hostName();
    if (!SiteConfig::isName(site->name)) {
        *problem = QStringLiteral("--name %1").arg(SiteConfig::nameRule());
        return false;
    }
    const QString fileName = isSet(check) ? value(check) : value(config);
    if (!fileName.isEmpty()) {
        const QList<QCommandLineOption> others = {mqtt, password, ca, cert, key, version, tolerance};
        for (const QCommandLineOption &other : others) {
            if (isSet(other))
                *problem = QStringLiteral("--%1 belongs into %2").arg(other.names().constFirst(), fileName);
        }
        if (line.parser().isSet(QStringLiteral("bus")))
            *problem = QStringLiteral("--bus belongs into %1").arg(fileName);
        if (!problem->isEmpty() || !readFile(fileName, site, problem))
            return false;
        if (isSet(name))
            site->name = value(name);
        return true;
    }
    LineConfig bus;
    bus.name = site->name;
    if (bus.name == QLatin1String("bridge") || bus.name == QLatin1String("all"))
        *problem = QStringLiteral("no line can be called %1; --name gives another name").arg(bus.name);
    else if (line.busUrl().isEmpty())
        *problem = CommandLine::NoBus;
    else if (!VOXBusUrl::read(line.busUrl(), &bus.bus, problem))
        return false;
    else if (bus.bus.kind == VOXBusUrl::Pty)
        *problem = QStringLiteral("nobody would be at the other end of a new pseudo-terminal");
    bool isNumber = false;
    site->endTolerance = value(tolerance).toInt(&isNumber);
    if (!isNumber || site->endTolerance < 0 || site->endTolerance > MaxTolerance)
        *problem = QStringLiteral("--end-tolerance is to be a number from 0 to %1").arg(MaxTolerance);
    site->lines = {bus};
    return problem->isEmpty() && readBroker(&site->mqtt, problem);
}

int serve(const SiteConfig &site, const QByteArray &password, BridgeLog::Level level)
{
    // It is often started by something that ends before it, and has no other settings to read again.
    std::signal(SIGHUP, SIG_IGN);
    outliveReader();
    tellWarningsSoon();
    const SignalWatcher signalWatcher;
    Bridge bridge(site, password, level);
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, &bridge, &Bridge::end);
    QObject::connect(&bridge, &Bridge::ready, qApp,
                     [](const QString &text) { printLine(QStringLiteral("ready ") + text); });
    QObject::connect(&bridge, &Bridge::done, qApp, &QCoreApplication::exit, Qt::QueuedConnection);
    bridge.start();
    return QCoreApplication::exec();
}

/// Empties the topics of one node.
int forgetNode(const CommandLine &line, const SiteConfig &site, const QByteArray &password,
               const QString &words)
{
    unsigned int addr = 0;
    QString problem;
    const QString name = words.section(QLatin1Char('/'), 0, -2);
    if (name.isEmpty())
        return line.fail(QStringLiteral("--forget takes a line and an address, such as %1/000105")
                             .arg(site.lines.constFirst().name));
    if (!VOX::readNodeAddr(words.section(QLatin1Char('/'), -1), &addr, &problem))
        return line.fail(QStringLiteral("--forget: %1").arg(problem));
    MqttLink::Options options;
    options.url = site.mqtt.url;
    options.password = password;
    options.clientId = "vox-forget-" + NameGuard().id();
    options.ca = site.mqtt.ca;
    options.cert = site.mqtt.cert;
    options.key = site.mqtt.key;
    options.version = site.mqtt.version;
    MqttLink link(options);
    Publisher publisher(link);
    for (int i = 0; i < site.lines.size(); ++i) {
        if (site.lines.at(i).name != name)
            continue;
        if (site.lines.at(i).nodes.count(addr) > 0)
            return line.fail(
                QStringLiteral("--forget: the site lists %1, so it would come again; take it out "
                               "there, and start the bridge again")
                    .arg(words));
        const QVector<QByteArray> topics =
            LineBridge(site, i, publisher).retainedTopics({BridgeTarget::Node, addr});
        // A bridge that runs knows the node, and would say all of it again.
        const MqttMessage order{QStringLiteral("%1/bridge/%2/forget").arg(site.prefix, site.name).toUtf8(),
                                words.toUtf8(),
                                1,
                                false,
                                {},
                                {}};
        QObject::connect(&link, &MqttLink::connected, qApp, [&link, topics, order] {
            link.send(order);
            for (const QByteArray &topic : topics)
                link.send({topic, QByteArray(), 1, true, {}, {}});
        });
        QObject::connect(&link, &MqttLink::acknowledged, qApp, [&link] {
            if (link.unacknowledged() == 0)
                QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
        });
        QObject::connect(&link, &MqttLink::lost, qApp, [&](const QString &reason) {
            problem = reason;
            QCoreApplication::exit(Failure);
        });
        QTimer::singleShot(ForgetMs, qApp, [] { QCoreApplication::exit(Failure); });
        link.start();
        const int code = QCoreApplication::exec();
        link.stop();
        if (code != Success)
            printError(QStringLiteral("bridge"), QStringLiteral("%1: %2").arg(site.mqtt.url.text(), problem));
        return code;
    }
    return line.fail(QStringLiteral("--forget: there is no line '%1'").arg(name));
}
}

int runBridge(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("bridge"),
        QStringLiteral("Brings the motors of a line, or of several, to an MQTT broker, where Home Assistant "
                       "finds them, until it is interrupted. Prints a line that begins with 'ready' when all "
                       "have been looked at."),
        QStringLiteral("vox bridge --bus serial:///dev/ttyUSB0 --mqtt mqtt://192.0.2.1:1883"),
        CommandLine::BusOption);
    const Options options(line);
    if (!line.parse(arguments, 0, 0))
        return line.exitCode();
    SiteConfig site;
    QString problem;
    QByteArray password;
    if (!options.read(&site, &problem) || !canRead({site.mqtt.ca, site.mqtt.cert, site.mqtt.key}, &problem)
        || !readBrokerPassword(site.mqtt.passwordFile, &password, &problem))
        return line.fail(problem);
    const auto level = BridgeLog::levelOf(options.value(options.log));
    if (!level)
        return line.fail(QStringLiteral("--log is to be error, warning, info or debug"));
    if (options.isSet(options.check))
        return checkSite(site);
    if (options.isSet(options.dry))
        return printTopics(site);
    if (!MqttLink::isAvailable()) {
        const QString program = findProgram(QStringLiteral("vox-mqtt"), {QStringLiteral("../libexec/vox")});
        if (!program.isEmpty())
            return line.fail(becomeProgram(program, QStringList{QStringLiteral("bridge")} + arguments));
        return line.fail(
            QStringLiteral("this build cannot speak MQTT: libmosquitto was not there when it was "
                           "made (Debian has it in libmosquitto-dev)"));
    }
    if (options.isSet(options.forget))
        return forgetNode(line, site, password, options.value(options.forget));
    return serve(site, password, *level);
}
