#include "framework/buspendingcallpointer.h"

#include "framework/buspendingcalldata.h"

#include <QThread>

BusPendingCallPointer::BusPendingCallPointer(BusPendingCallData *data)
    : m_data(data)
{
    if (m_data)
        m_data->ref.ref();
}

BusPendingCallPointer::BusPendingCallPointer(const BusPendingCallPointer &other)
    : BusPendingCallPointer(other.m_data)
{
}

BusPendingCallPointer::~BusPendingCallPointer()
{
    if (!m_data || m_data->ref.deref())
        return;
    if (m_data->thread() == QThread::currentThread() && !m_data->isInTimerEvent())
        delete m_data;
    else
        m_data->deleteLater();
}
