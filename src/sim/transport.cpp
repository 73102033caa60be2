#include "sim/transport.h"

namespace tarvek::sim {

Transport::Transport(QObject* parent) : QObject(parent)
{
    comeBack_.setSingleShot(true);
    connect(&comeBack_, &QTimer::timeout, this, [this] { open(); });
}

void Transport::vanish(int ms)
{
    close();
    comeBack_.start(ms);
}

void Transport::shutDown()
{
    comeBack_.stop();
    close();
}

} // namespace tarvek::sim
