#ifndef VOX_NETWORK_REFUSAL_P_H
#define VOX_NETWORK_REFUSAL_P_H

#include <vox/messages/kvr.h>

/// The reason @p status of a NACK as a part of a sentence, and what to do about it.
QString refusalText(int status);

#endif
