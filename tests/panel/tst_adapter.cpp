#include "panel/application.h"
#include "panel/shadelook.h"
#include "simulation/voxsimulation.h"
#include "support/ptyport.h"
#include "transport/voxbus.h"

#include <QAccessible>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest>

/// A window over a port of the system, in real time.
class tst_Adapter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isPulledAndPutBack();
};

namespace {
constexpr VOX::Addr Addr = 0x101;

/// A building behind an adapter, which is in its place until this goes.
class Adapter
{
public:
    explicit Adapter(const QString &name, int percent)
        : m_wire(new PipeDevice)
        , m_nodes(m_wire)
        , m_port(*m_wire)
        , m_name(name)
    {
        m_nodes.open();
        m_simulation.attach(&m_nodes);
        QJsonObject node{{"model", "TB60LV"},
                         {"address", VOX::toString(Addr)},
                         {"limits", QJsonObject{{"up", 0}, {"down", 10000}}},
                         {"position", percent * 100}};
        QString problem;
        if (!m_simulation.load({{"nodes", QJsonArray{node}}}, &problem))
            qFatal("%s", qPrintable(problem));
        QFile::link(m_port.name, name);
    }
    ~Adapter()
    {
        // First, as another program may get the number of this pseudo-terminal at once.
        QFile::remove(m_name);
        m_port.unplug();
        m_simulation.attach(nullptr);
    }

private:
    PipeDevice *m_wire;
    VOXBus m_nodes;
    PtyPort m_port;
    VOXSimulation m_simulation;
    QString m_name;
};

/// Whether the window shows something that a screen reader calls so.
bool shows(const QQuickItem &item, const QString &name)
{
    const auto children = item.childItems();
    return std::any_of(children.begin(), children.end(), [&](QQuickItem *child) {
        QAccessibleInterface *const face = QAccessible::queryAccessibleInterface(child);
        return child->isVisible()
            && ((face && face->text(QAccessible::Name).contains(name)) || shows(*child, name));
    });
}
}

// It is pulled while a shade moves; the window says so with what to do, and goes on by itself.
void tst_Adapter::isPulledAndPutBack()
{
    constexpr int SoonMs = 12000;
    const QTemporaryDir folder;
    PanelOptions options;
    options.bus = "serial://" + folder.filePath("adapter");
    options.places = folder.filePath("places.json");
    options.size = {1280, 800};
    options.theme = "light";
    std::optional<Adapter> adapter(std::in_place, folder.filePath("adapter"), 30);
    Application app(options);
    Panel &panel = app.panel();
    const QQuickItem &content = *app.window()->contentItem();
    const auto look = [&] {
        const auto &rows = panel.shades()->rows();
        return rows.isEmpty() ? ShadeLook() : ShadeLook::of(*rows.first().node, rows.first().line->isOpen());
    };
    QTRY_COMPARE_WITH_TIMEOUT(look().reading, 30, SoonMs);
    QCOMPARE(panel.shades()->rowCount(), 1);
    panel.allDown();
    QTRY_COMPARE_WITH_TIMEOUT(look().motion, ShadeLook::Down, SoonMs);
    adapter.reset();
    QTRY_COMPARE_WITH_TIMEOUT(look().state, ShadeLook::Offline, SoonMs);
    QTRY_VERIFY(shows(content, "is not open"));
    QTRY_VERIFY(shows(content, "It is opened again every 2 s."));
    QTRY_COMPARE(panel.troubles()->rowCount(), 1);
    QCOMPARE(panel.troubles()->rows().first().kind, Trouble::Line);
    // A command meanwhile is told to be in vain, at once.
    panel.stopAll();
    QTRY_VERIFY(panel.stopText().contains("not open"));
    adapter.emplace(folder.filePath("adapter"), 80);
    QTRY_COMPARE_WITH_TIMEOUT(look().reading, 80, SoonMs);
    QTRY_VERIFY(!shows(content, "is not open"));
    QCOMPARE(look().state, ShadeLook::Known);
    panel.allUp();
    QTRY_COMPARE_WITH_TIMEOUT(look().motion, ShadeLook::Up, SoonMs);
}

int main(int argc, char *argv[])
{
    qputenv("QT_LOGGING_RULES", "vox.*=false");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QML2_IMPORT_PATH", VOX_QML_DIR);
    const QGuiApplication app(argc, argv);
    Application::prepare();
    QAccessible::setActive(true);
    tst_Adapter test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_adapter.moc"
