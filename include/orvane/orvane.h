/*
 * orvane.h -- the whole runtime interface of the library in one include
 *
 * The schema's classes, enumerations and method stubs are in <orvane/schema/qorm.h>,
 * <orvane/schema/ozy.h> and <orvane/schema/ferry.h>.
 */
#pragma once

#include <orvane/export.h>
#include <orvane/filter.h>
#include <orvane/listener.h>
#include <orvane/log.h>
#include <orvane/loop.h>
#include <orvane/method.h>
#include <orvane/objectPath.h>
#include <orvane/operation.h>
#include <orvane/privilege.h>
#include <orvane/runtime.h>
#include <orvane/schemaOverlay.h>
#include <orvane/session.h>
#include <orvane/specBuilders.h>
#include <orvane/wire.h>
