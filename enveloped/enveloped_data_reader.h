// The one EnvelopedData reading algorithm, run over a memory buffer or a
// file alike.
#ifndef CMSKIT_ENVELOPED_ENVELOPED_DATA_READER_H
#define CMSKIT_ENVELOPED_ENVELOPED_DATA_READER_H

#include "cmskit/enveloped_data.h"
#include "enveloped/enveloped_source.h"

namespace cmskit {

// Statuses leave as XTOOStatus; returns nothing, the source's position tells
// how far the reading went.
void ReadEnvelopedData(EnvelopedData& target, EnvelopedSource& source);

// The boundary of the readers: bytes consumed so far, the error convention
// of the enveloped family. `limit`: the most a member can report.
uint64_t ReadEnvelopedDataAt(EnvelopedData& target, EnvelopedSource& source, int* pError, uint64_t limit);

}  // namespace cmskit

#endif
