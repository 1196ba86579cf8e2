#include "vox/bridge/bridgelog.h"

#include "vox/console.h"

#include <utility>

namespace {
constexpr int PeriodMs = 10000;
constexpr int MostLines = 20;
const QString Command = QStringLiteral("bridge");
}

void BridgeLog::tell(const QString &sentence)
{
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
