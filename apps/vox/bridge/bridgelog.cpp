#include "vox/bridge/bridgelog.h"

#include "vox/console.h"

#include <QStringList>

#include <utility>

namespace {
constexpr int PeriodMs = 10000;
constexpr int MostLines = 20;
const QString Command = QStringLiteral("bridge");
}

std::optional<BridgeLog::Level> BridgeLog::levelOf(const QString &word)
{
    const QStringList words{QStringLiteral("error"), QStringLiteral("warning"), QStringLiteral("info"),
                            QStringLiteral("debug")};
    const auto level = words.indexOf(word);
    return level < 0 ? std::nullopt : std::optional<Level>(static_cast<Level>(level));
}

void BridgeLog::tell(Level level, const QString &sentence)
{
    if (level > m_most)
        return;
    if (!m_period.isValid() || m_period.hasExpired(PeriodMs)) {
        m_period.start();
        m_told = 0;
        const int more = std::exchange(m_more, 0);
        if (more > 0)
            printError(Command, QStringLiteral("%1, not shown").arg(counted(more, "more line")));
    }
    if (m_told < MostLines) {
        ++m_told;
        printError(Command, printable(sentence));
    } else {
        ++m_more;
    }
}
