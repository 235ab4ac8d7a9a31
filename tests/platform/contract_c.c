/* The contract's headers compile as C, and the records have the layout that the maker's libraries expect. */
#include "qvhipm.h"
#include "smsecure.h"
#include "smsupport.h"

_Static_assert(sizeof(IPMIReqRspEx) == 52, "4 bytes, two lengths, 40 bytes");
_Static_assert(offsetof(EsmIPMICmdIoctlReq, Parameters) == 24, "natural alignment");
