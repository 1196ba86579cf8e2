#include "framework/busdispatcher.h"

BusDispatcher::~BusDispatcher() = default;
