#ifndef DESK_H
#define DESK_H

#include "devices/kvrmotordevice.h"
#include "messages/voxcommandtrait.h"
#include "panel/application.h"
#include "panel/shadeitem.h"
#include "panel/shadepainter.h"
#include "simulation/voxvirtualtime.h"
#include "support/files.h"
#include "transport/voxframecutter.h"

#include <QAccessible>
#include <QQuickItemGrabResult>
#include <QQuickWindow>
#include <QtTest>

#include <cmath>

/// Of Qt, in a header that is not for programs. Events of windows come through it, also without a display;
/// the loop of a time that is virtual does not know it.
class QWindowSystemInterface
{
public:
    static bool sendWindowSystemEvents(QEventLoop::ProcessEventsFlags flags);
};

/// What Qt and QML have complained of.
inline QStringList warnings;

inline void note(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        warnings += text, fprintf(stderr, "%s\n", qPrintable(text));
}

/// Lets virtual time pass, and the window hear of it.
inline bool passUntil(const std::function<bool()> &condition, qint64 ms)
{
    constexpr qint64 FrameMs = 16;
    for (; ms > 0; ms -= FrameMs) {
        QWindowSystemInterface::sendWindowSystemEvents(QEventLoop::AllEvents);
        if (VOXVirtualTime::runUntil(condition, std::min(ms, FrameMs)))
            return true;
    }
    return condition();
}

inline void pass(qint64 ms)
{
    passUntil([] { return false; }, ms);
}

inline PanelOptions demo(int shades = 60, const QString &theme = "light", const QSize &size = {1280, 800})
{
    PanelOptions options;
    options.isDemo = true;
    options.shades = shades;
    options.theme = theme;
    options.size = size;
    return options;
}

/// A panel, and what a person does with it, in virtual time.
struct Desk
{
    explicit Desk(const PanelOptions &options)
        : app(options)
        , theme(options.theme == "dark" ? Theme::Dark : Theme::Light)
    {
        if (!panel().demo())
            return;
        panel().demo()->setPlaying(false);
        QObject::connect(&panel().demo()->line(), &VOXLine::sent, panel().demo(),
                         [this](QIODevice *, const QByteArray &bytes) { sent += bytes; });
        passUntil([this] { return panel().isSettled(); }, 60000);
        pass(2000);
    }

    Panel &panel() { return app.panel(); }
    QQuickWindow &window() { return *app.window(); }
    KVRMotorDevice &motor(VOX::Addr addr) { return *panel().demo()->simulation().node<KVRMotorDevice>(addr); }
    int percentOf(VOX::Addr addr)
    {
        return static_cast<int>(std::lround(motor(addr).positionPulses() * 100.0 / 20000));
    }

    static QString nameOf(QObject *item)
    {
        QAccessibleInterface *const face = QAccessible::queryAccessibleInterface(item);
        return face ? face->text(QAccessible::Name) : QString();
    }
    template <typename Item>
    QVector<Item *> all(QQuickItem *from = nullptr)
    {
        QVector<Item *> found;
        const auto children = (from ? from : window().contentItem())->childItems();
        for (QQuickItem *const child : children) {
            if (!child->isVisible())
                continue;
            if (auto *const item = qobject_cast<Item *>(child))
                found += item;
            found += all<Item>(child);
        }
        return found;
    }
    /// By what a screen reader says.
    QQuickItem *item(const QString &name)
    {
        const auto items = all<QQuickItem>();
        for (QQuickItem *const each : items) {
            if (nameOf(each) == name)
                return each;
        }
        return nullptr;
    }
    ShadeItem *shade(VOX::Addr addr)
    {
        const auto shades = all<ShadeItem>();
        for (ShadeItem *const each : shades) {
            if (each->node() && each->node()->address() == addr)
                return each;
        }
        return nullptr;
    }
    static QPoint middle(const QQuickItem *item)
    {
        return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
    }
    void click(const QQuickItem *item, Qt::KeyboardModifiers keys = Qt::NoModifier)
    {
        QTest::mouseClick(&window(), Qt::LeftButton, keys, middle(item));
        pass(50);
    }
    bool click(const QString &name)
    {
        const QQuickItem *const found = item(name);
        if (found)
            click(found);
        return found;
    }
    void key(Qt::Key code, Qt::KeyboardModifiers keys = Qt::NoModifier)
    {
        QTest::keyClick(&window(), code, keys);
        pass(50);
    }
    QImage picture()
    {
        pass(300);
        const auto result = window().contentItem()->grabToImage();
        passUntil([&] { return !result->image().isNull(); }, 1000);
        return result->image();
    }
    bool hasColour(const QImage &image, const QRectF &rect, Theme::Role role)
    {
        int pixels = 0;
        const QRect whole = rect.toRect().intersected(image.rect());
        for (int y = whole.top(); y <= whole.bottom(); ++y) {
            for (int x = whole.left(); x <= whole.right(); ++x)
                pixels += image.pixel(x, y) == Theme::colour(role, theme).rgb();
        }
        return pixels >= 8;
    }
    QRectF rectOf(ShadeItem *shade) const { return shade->mapRectToScene(shade->boundingRect()); }
    /// How far down the cloth is in the picture, in percent; -1 if no hem is there.
    double drawn(const QImage &image, ShadeItem *shade) const
    {
        const ShadePainter painter(shade->size(), 1, theme);
        const QRectF glass = painter.inner().translated(rectOf(shade).topLeft());
        const int x = static_cast<int>(glass.left() + 2);
        int hem = -1;
        for (int y = static_cast<int>(glass.top()); y < glass.bottom(); ++y) {
            if (image.pixel(x, y) == Theme::colour(Theme::Hem, theme).rgb())
                hem = y;
        }
        const double height = hem + 1 - glass.top();
        return hem < 0 ? -1 : height <= painter.hemHeight() ? 0 : height * 100 / glass.height();
    }
    /// The frames of hosts that have been sent and that @p is such.
    template <typename Is>
    int count(const Is &is)
    {
        int frames = 0;
        const VOXFrameCutter cutter(VOXMessage::MinLength);
        for (QByteArray rest = sent; !rest.isEmpty();) {
            const VOXFrameCutter::Cut cut = cutter.cut(rest);
            if (cut.isGood())
                frames += is(VOXMessage(BusMessage(cut.frame)));
            rest.remove(0, std::max(1, cut.dropped()));
        }
        return frames;
    }
    int moves(VOX::AddrType type)
    {
        return count([=](const VOXMessage &frame) {
            return frame.addrType() == type && VOXCommandTrait::of(frame).isMotion();
        });
    }

    Application app;
    Theme::Mode theme;
    QByteArray sent;
};

/// The test in its own time, with settings of its own. To be called from main().
template <typename Test>
int runPanelTest(int argc, char **argv)
{
    const QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.path().toUtf8());
    qputenv("XDG_DATA_HOME", home.path().toUtf8());
    qputenv("QT_LOGGING_RULES", "vox.*=false");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_SCALE_FACTOR", "1");
    qputenv("QML2_IMPORT_PATH", VOX_QML_DIR);
    const VOXVirtualTime time(VOXVirtualTime::Local);
    const QGuiApplication app(argc, argv);
    Application::prepare();
    QAccessible::setActive(true);
    qInstallMessageHandler(note);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

#endif
