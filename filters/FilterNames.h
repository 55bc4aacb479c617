// The published names of filters and graphs. The system's headers need this order.
#pragma once

#include <windows.h>

#include <oaidl.h>
#include <objbase.h>
#include <ocidl.h>
#include <oleauto.h>

#include <strmif.h>

#include <amvideo.h>
#include <control.h>
#include <dvdmedia.h>
#include <evcode.h>
#include <mmreg.h>
#include <uuids.h>
#include <vfwmsgs.h>
