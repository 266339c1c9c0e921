// The decryption helpers live with the enveloped ones; the interop suite
// includes them under this name.
#include "enveloped/enveloped_test_util.h"
