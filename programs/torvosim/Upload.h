/** @file Upload.h  The multipart uploads: a JSON document and a file, a log archive or an image. */
#ifndef TORVOSIM_UPLOAD_H
#define TORVOSIM_UPLOAD_H

#include "Bmc.h"
#include "Http.h"

namespace torvosim {

/**
 * Takes the form of @p exchange: "metadata" (application/json), then the file "LogZip", which is kept; 202 with size
 * and SHA-256. Or "UpdateParameters", then the file "UpdateFile"; 202 with the update's task.
 */
Response receiveUpload(Bmc& bmc, Exchange& exchange);

}  // namespace torvosim

#endif
