#include "panel/application.h"

#include "panel/backdrop.h"
#include "panel/facadeitem.h"
#include "panel/shadeitem.h"
#include "panel/signs.h"
#include "panel/stripitem.h"

#include <QDir>
#include <QGuiApplication>
#include <QPalette>
#include <QQmlContext>
#include <QQuickWindow>
#include <QSettings>

namespace {
constexpr int DarkLightness = 128;
const QString SizeKey = QStringLiteral("size");
const QString ThemeKey = QStringLiteral("theme");

/// Whether the window looks as it did the last time. A picture is the same everywhere.
bool isRemembering(const PanelOptions &options)
{
    return options.picture.isEmpty();
}

Theme::Mode modeOf(const PanelOptions &options)
{
    const QString name = !options.theme.isEmpty() || !isRemembering(options)
        ? options.theme
        : QSettings().value(ThemeKey).toString();
    const bool isDark = name.isEmpty()
        ? QGuiApplication::palette().color(QPalette::Window).lightness() < DarkLightness
        : name == QLatin1String("dark");
    return isDark ? Theme::Dark : Theme::Light;
}
}

void Application::prepare()
{
    // Where there is no display there is no OpenGL either.
    const QString platform = QGuiApplication::platformName();
    if (platform == QLatin1String("offscreen") || platform == QLatin1String("minimal")) {
#if QT_VERSION_MAJOR >= 6
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
#else
        QQuickWindow::setSceneGraphBackend(QSGRendererInterface::Software);
#endif
    }
}

Application::Application(const PanelOptions &options, QObject *parent)
    : QObject(parent)
    , m_theme(modeOf(options))
{
    registerTypes();
    m_panel.places()->open(options.places.isEmpty() ? Places::fileNameFor(options.config) : options.places);
    connect(&m_stopKey, &StopKey::pressed, &m_panel, &Panel::stopAll);
    m_engine.addImageProvider(QStringLiteral("sign"), new SignProvider);
    m_engine.addImageProvider(QStringLiteral("backdrop"), new BackdropProvider);
    // Where the build has the module, or an installation that is not the system's.
    const QDir here(QCoreApplication::applicationDirPath());
    for (const char *const folder : {"../qml", "../../qml", "../" VOX_QML_DIR}) {
        if (here.exists(QLatin1String(folder) + QStringLiteral("/Vox/qmldir")))
            m_engine.addImportPath(here.filePath(QLatin1String(folder)));
    }
    m_engine.rootContext()->setContextProperty(QStringLiteral("Theme"), &m_theme);
    m_engine.rootContext()->setContextProperty(QStringLiteral("Panel"), &m_panel);
    m_engine.rootContext()->setContextProperty(QStringLiteral("StopKey"), &m_stopKey);
    m_engine.setInitialProperties(
        {{QStringLiteral("view"),
          options.view.isEmpty() && !options.replay.isEmpty() ? QStringLiteral("replay") : options.view},
         {QStringLiteral("find"), options.find}});
    // Pages are tried without building them.
    const QString pages = qEnvironmentVariable("VOX_PANEL_PAGES");
    m_engine.load(pages.isEmpty() ? QUrl(QStringLiteral("qrc:/panel/qml/Main.qml"))
                                  : QUrl::fromLocalFile(pages + QStringLiteral("/Main.qml")));
    if (!window())
        return;
    // Pages take a while to load, in which nobody would take answers.
    openSource(options);
    const QSize size =
        options.size.isEmpty() && isRemembering(options) ? QSettings().value(SizeKey).toSize() : options.size;
    if (size.isValid())
        window()->resize(size);
    if (isRemembering(options))
        remember();
}

void Application::remember()
{
    connect(&m_theme, &QQmlPropertyMap::valueChanged, this, [this] {
        QSettings().setValue(
            ThemeKey, m_theme.mode() == Theme::Dark ? QStringLiteral("dark") : QStringLiteral("light"));
    });
    // One that fills the screen gets its size from the screen.
    connect(window(), &QWindow::widthChanged, this, &Application::rememberSize);
    connect(window(), &QWindow::heightChanged, this, &Application::rememberSize);
}

void Application::rememberSize()
{
    if (window()->visibility() == QWindow::Windowed)
        QSettings().setValue(SizeKey, window()->size());
}

Application::~Application() = default;

void Application::registerTypes()
{
    const char *const module = "VoxPanel";
    qmlRegisterType<FacadeItem>(module, 1, 0, "Facade");
    qmlRegisterType<ShadeItem>(module, 1, 0, "ShadePicture");
    qmlRegisterType<StripItem>(module, 1, 0, "Strip");
    qmlRegisterAnonymousType<PanelLine>(module, 1);
    qmlRegisterAnonymousType<FrameList>(module, 1);
    qmlRegisterAnonymousType<ShadeModel>(module, 1);
    qmlRegisterAnonymousType<Selection>(module, 1);
    qmlRegisterAnonymousType<TroubleList>(module, 1);
    qmlRegisterAnonymousType<DemoBuilding>(module, 1);
    qmlRegisterAnonymousType<Replay>(module, 1);
    qmlRegisterAnonymousType<Places>(module, 1);
}

void Application::openSource(const PanelOptions &options)
{
    const Panel::Sending sending = options.isLooking ? Panel::OnlyListens : Panel::Sends;
    if (options.isDemo) {
        m_panel.openDemo(options.shades);
    } else if (!options.bus.isEmpty()) {
        m_panel.open(Site::ofBus(options.bus), sending);
    } else if (!options.config.isEmpty()) {
        m_panel.openConfig(options.config, sending);
    } else if (!options.replay.isEmpty()) {
        m_panel.open(Site(), sending);
        m_panel.openReplay(options.replay);
    } else {
        m_panel.open(Site(), sending);
    }
}

QQuickWindow *Application::window() const
{
    return qobject_cast<QQuickWindow *>(m_engine.rootObjects().value(0));
}
