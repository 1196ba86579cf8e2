#include "messages/hrmv2.h"

#include "messages/hrmv2schema_p.h"

using namespace VOXCmdTable;

static_assert(VOXSchema::checkLayouts<HRMv2::Cmd>());
static_assert(VOXSchema::checkLayouts<OlderForm>());

const QHash<unsigned char, VOXCmdInfo> &HRMv2::cmds()
{
    static const Table *table = build(rowsOf<HRMv2::Cmd>);
    return *table;
}

VOXCmdInfo HRMv2::findCmd(unsigned char cmd)
{
    return cmds().value(cmd);
}

QString HRMv2::toString(unsigned char cmd)
{
    return QString::fromLatin1(CmdMetaEnum().valueToKey(cmd));
}

QMetaEnum HRMv2::CmdMetaEnum()
{
    static const QMetaEnum found = QMetaEnum::fromType<Cmd>();
    return found;
}
