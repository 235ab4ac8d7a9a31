/** @file Upload.h  The multipart upload: a JSON document and a log archive that is kept in a file. */
#ifndef TORVOSIM_UPLOAD_H
#define TORVOSIM_UPLOAD_H

#include "Bmc.h"
#include "Http.h"

namespace torvosim {

/** Takes the form of @p exchange: "metadata" (application/json), then the file "LogZip". 202 with size and SHA-256. */
Response receiveUpload(Bmc& bmc, Exchange& exchange);

}  // namespace torvosim

#endif
