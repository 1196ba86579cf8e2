#include "panel/application.h"
#include "panel/picturesaver.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QQuickWindow>

#include <cstdio>

namespace {
int print(const PanelOptions &options)
{
    const bool isWrong = options.kind == PanelOptions::Wrong;
    const QString text = options.kind == PanelOptions::Version ? QStringLiteral("vox-panel " VOX_VERSION "\n")
        : isWrong ? QStringLiteral("vox-panel: %1; see vox-panel --help\n").arg(options.text)
                  : options.text;
    std::fputs(qPrintable(text), isWrong ? stderr : stdout);
    return isWrong ? 2 : 0;
}
}

int main(int argc, char *argv[])
{
    const auto options = [&] {
        // Help is for machines without a display, too.
        const QCoreApplication application(argc, argv);
        return PanelOptions::read(QCoreApplication::arguments());
    }();
    if (options.kind != PanelOptions::Show)
        return print(options);
    if (!options.picture.isEmpty()) {
        // A picture is the same everywhere.
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("QT_SCALE_FACTOR", "1");
    }
    QGuiApplication application(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("vox-panel"));
    QGuiApplication::setOrganizationName(QStringLiteral("vox"));
    // The window says what is wrong with a line.
    QLoggingCategory::setFilterRules(QStringLiteral("vox.*=false"));
    Application::prepare();
    Application panel(options);
    if (!panel.window())
        return 1;
    if (options.picture.isEmpty())
        return QGuiApplication::exec();
    const PictureSaver saver(*panel.window(), options.picture, options.afterMs,
                             [&] { return panel.panel().isSettled(); });
    QObject::connect(&saver, &PictureSaver::finished, &application, [&](const QString &problem) {
        if (!options.capture.isEmpty() && !panel.panel().lines().isEmpty())
            std::puts(qPrintable(panel.panel().lines().first()->frames()->save(options.capture)));
        if (!problem.isEmpty())
            std::fprintf(stderr, "vox-panel: %s\n", qPrintable(problem));
        QGuiApplication::exit(problem.isEmpty() ? 0 : 1);
    });
    return QGuiApplication::exec();
}
