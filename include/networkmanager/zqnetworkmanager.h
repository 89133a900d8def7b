/**
 *  @file
 *    The network manager: everything that an application includes.
 */

#ifndef ZQNETWORKMANAGER_H
#define ZQNETWORKMANAGER_H

#include <CFUValues.h>

#include <zqnetworkmanager-event.h>
#include <zqnetworkmanager-factory.h>
#include <zqnetworkmanager-manager.h>
#include <zqnetworkmanager-object.h>
#include <zqnetworkmanager-objectlist.h>
#include <zqnetworkmanager-observer.h>
#include <zqnetworkmanager-provision.h>
#include <zqnetworkmanager-service.h>
#include <zqnetworkmanager-technology.h>
#include <zqnetworkmanager-vocabulary.h>

#endif // ZQNETWORKMANAGER_H
