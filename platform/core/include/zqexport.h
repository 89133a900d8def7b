/**
 *  @file
 *    Visibility of a shared library's symbols: hidden unless exported.
 */

#ifndef ZQEXPORT_H
#define ZQEXPORT_H

#define ZQ_EXPORT __attribute__((visibility("default")))

#endif // ZQEXPORT_H
