/**
 * @file commonutilities.h
 * @brief Every public header of the library at once.
 */
#ifndef COMMONUTILITIES_COMMONUTILITIES_H
#define COMMONUTILITIES_COMMONUTILITIES_H

#include "AmbrelDataStorage.h"
#include "AmbrelSignalHndlr.h"
#include "ae-gpio.h"
#include "ambrelsharedmem.h"
#include "ambrelthreadutils.h"
#include "boardtopology.h"
#include "commonconfig.h"
#include "commonutilities_api.h"
#include "configparams.h"
#include "customaction.h"
#include "dbglog.h"
#include "filedictionary.h"
#include "flexmsgqueue.h"
#include "flexqueue.h"
#include "genericparser.h"
#include "jsonnode.h"
#include "jsonparser.h"
#include "jsonwriter.h"
#include "messagequeue.h"
#include "notifyqueue.h"
#include "pluginchecksum.h"
#include "rfvalues.h"
#include "rpn.h"
#include "stackmap.h"
#include "stringtemplate.h"
#include "stringutils.h"
#include "valueformat.h"

#endif
