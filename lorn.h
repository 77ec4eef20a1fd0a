// lorn: fast access to catalogues, flat tables kept as delimited text (TXT or
// the scrambled SDC twin) with a sidecar (SDX) of column types, row offsets
// and one on-disk index per wanted column.
//
// The one header a host includes. It brings every public declaration and
// nothing of the library's inside: the headers below are the installed
// interface, and in a host none of them reaches a header that is not
// installed.
#ifndef LORN_LORN_H_
#define LORN_LORN_H_

#include "frame/compare_fn.h"
#include "frame/lorn_defs.h"
#include "frame/monitor.h"
#include "frame/settings.h"
#include "frame/sort_arrays.h"
#include "index/file_blocks.h"
#include "platform/carchive.h"
#include "platform/cfile.h"
#include "platform/cobject.h"
#include "platform/collections.h"
#include "platform/cstring.h"
#include "platform/exceptions.h"
#include "platform/lorn_export.h"
#include "platform/types.h"
#include "query/query_std.h"
#include "query/result_std.h"
#include "query/set_std.h"
#include "table/cat_std.h"

#endif  // LORN_LORN_H_
