// A value with its type, cut to plain ones. Inside the library only.
#pragma once

#include "propidl.h"

struct VARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONG lVal;
        ULONG ulVal;
        LONGLONG llVal;
        ULONGLONG ullVal;
        VARIANT_BOOL boolVal;
        double dblVal;
        // The largest member of the published type, for its size.
        struct {
            void* pvRecord;
            void* pRecInfo;
        } record;
    };
};
