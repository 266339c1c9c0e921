// Making messages: signed (make_signed.h).
#ifndef CMSKIT_MAKE_H
#define CMSKIT_MAKE_H

#include "make_signed.h"

#endif
