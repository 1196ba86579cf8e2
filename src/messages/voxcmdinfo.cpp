#include "messages/voxcmdinfo.h"

#include <tuple>

struct VOXCmdInfo::Data : public QSharedData
{
    auto fields() const { return std::tie(cmd, size, options, reply); }

    unsigned char cmd;
    unsigned char size;
    unsigned char options;
    unsigned char reply;
};

VOXCmdInfo::VOXCmdInfo()
{
    static const auto *invalid = new VOXCmdInfo(0, 0, 0, 0);
    d = invalid->d;
}

VOXCmdInfo::VOXCmdInfo(unsigned char cmd, unsigned char size, unsigned char options, unsigned char reply)
    : d(new Data{{}, cmd, size, options, reply})
{
}

VOXCmdInfo::VOXCmdInfo(const VOXCmdInfo &other) = default;
VOXCmdInfo &VOXCmdInfo::operator=(const VOXCmdInfo &other) = default;
VOXCmdInfo::~VOXCmdInfo() = default;

unsigned char VOXCmdInfo::cmd() const
{
    return d->cmd;
}

unsigned char VOXCmdInfo::size() const
{
    return d->size;
}

unsigned char VOXCmdInfo::options() const
{
    return d->options;
}

unsigned char VOXCmdInfo::reply() const
{
    return d->reply;
}

bool VOXCmdInfo::operator==(const VOXCmdInfo &other) const
{
    return d == other.d || d->fields() == other.d->fields();
}
