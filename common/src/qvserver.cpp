/** @file qvserver.cpp  The generation flag, below everybody who reads it. */
#include "qvserver.h"

booln giSServerNewGenAndAbove = FALSE;
