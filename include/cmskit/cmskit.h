// Everything a caller of cmskit64 needs.
#ifndef CMSKIT_CMSKIT_H
#define CMSKIT_CMSKIT_H

#include "asn_codec.h"
#include "asn_record.h"
#include "asn_types.h"
#include "attributes.h"
#include "encrypted_content_info.h"
#include "enveloped_data.h"
#include "export.h"
#include "file.h"
#include "identobj.h"
#include "key_transport.h"
#include "make.h"
#include "message_files.h"
#include "message_signer_info.h"
#include "originator_info.h"
#include "paths.h"
#include "sign_data.h"
#include "status.h"
#include "trans_recipient_info.h"
#include "tstring.h"
#include "verify.h"

#endif
