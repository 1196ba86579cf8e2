#include <QFile>
#include <QProcess>
#include <QtTest>

/// What the README shows is what is compiled, and it works.
class tst_Examples : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readmeShowsTheExamples();
    void hostFindsTheEmulatedMotor();
};

namespace {
QString contents(const QString &name)
{
    QFile file(QStringLiteral(VOX_SOURCE_DIR "/") + name);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}
}

void tst_Examples::readmeShowsTheExamples()
{
    const QString readme = contents("README.md");
    for (const QString example : {"examples/host/main.cpp", "examples/emulator/main.cpp"}) {
        QVERIFY(!contents(example).isEmpty());
        QVERIFY2(readme.contains("```cpp\n" + contents(example) + "```"), qPrintable(example));
    }
}

void tst_Examples::hostFindsTheEmulatedMotor()
{
    QProcess emulator;
    emulator.start(VOX_EXAMPLES_DIR "/example-emulator", QStringList());
    QVERIFY(emulator.waitForStarted());
    // The emulator says nothing when it is up, so the host asks until it is.
    const auto isAnswered = [] {
        QProcess host;
        host.start(VOX_EXAMPLES_DIR "/example-host", QStringList());
        return host.waitForFinished() && host.exitCode() == 0
            && host.readAllStandardError().contains("state 0, error 0");
    };
    QTRY_VERIFY(isAnswered());
    QCOMPARE(emulator.state(), QProcess::Running);
    emulator.kill();
    emulator.waitForFinished();
}

QTEST_GUILESS_MAIN(tst_Examples)
#include "tst_examples.moc"
