// The panel without a display and without a GPU: how long a frame takes, and what of a core it needs, with
// 500 shades of which none, 60 and all move. The building is simulated in the same process, and is counted,
// too.

#include "panel/application.h"
#include "panel/shadeitem.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {
constexpr int Shades = 500;
constexpr int MeasureMs = 5000;
constexpr double NsPerMs = 1e6;
constexpr double PercentOfClock = 100.0 * 1000 / CLOCKS_PER_SEC;

void wait(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Times of frames, from the beginning of their synchronisation to the end of their drawing.
class Frames
{
public:
    explicit Frames(QQuickWindow &window)
    {
        QObject::connect(&window, &QQuickWindow::beforeSynchronizing, &window, [this] { m_clock.start(); });
        QObject::connect(&window, &QQuickWindow::afterRendering, &window,
                         [this] { m_ns.push_back(m_clock.nsecsElapsed()); });
    }

    void measure(const char *what)
    {
        m_ns.clear();
        const std::clock_t begin = std::clock();
        wait(MeasureMs);
        const double core = static_cast<double>(std::clock() - begin) * PercentOfClock / MeasureMs;
        std::sort(m_ns.begin(), m_ns.end());
        const auto at = [&](double share) {
            return m_ns.empty()
                ? 0
                : static_cast<double>(
                      m_ns[static_cast<std::size_t>(share * static_cast<double>(m_ns.size() - 1))])
                    / NsPerMs;
        };
        std::printf("%-24s %6.1f frames/s   median %6.2f ms   p99 %6.2f ms   %5.1f %% of a core\n", what,
                    static_cast<double>(m_ns.size()) * 1000 / MeasureMs, at(0.5), at(0.99), core);
        std::fflush(stdout);
    }

private:
    QElapsedTimer m_clock;
    std::vector<qint64> m_ns;
};
}

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_LOGGING_RULES", "vox.*=false");
    const QGuiApplication application(argc, argv);
    Application::prepare();
    PanelOptions options;
    options.size = {1920, 1080};
    options.theme = QStringLiteral("light");
    QElapsedTimer start;
    start.start();
    Application panel(options);
    Frames frames(*panel.window());
    bool isDrawn = false;
    QObject::connect(panel.window(), &QQuickWindow::afterRendering, panel.window(), [&] {
        if (!std::exchange(isDrawn, true))
            std::printf("first picture after %lld ms\n", static_cast<long long>(start.elapsed()));
    });
    // So that the line holds nothing up.
    panel.panel().openDemo(Shades, 0);
    panel.panel().demo()->setPlaying(false);
    while (!panel.panel().isSettled())
        wait(500);
    wait(10000);
    frames.measure("none of 500 moves");
    VOXNetwork &network = panel.panel().lines().first()->network();
    const auto nodes = network.nodes();
    for (int i = 0; i < 60; ++i)
        network.motor(nodes[i]->address())->moveTo(i % 2 ? 100 : 0);
    wait(5000);
    frames.measure("60 of 500 move");
    panel.panel().stopAll();
    wait(3000);
    panel.panel().allDown();
    wait(5000);
    frames.measure("all of 500 move");
    return 0;
}
