// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZ_MODULE_API_EXPORT_H
#define QZ_MODULE_API_EXPORT_H

#include <QtCore/qglobal.h>

/// Marks a class or function of the module interface as part of the shared library's ABI.
#if defined(QZ_MODULE_API_BUILDING_LIBRARY)
#define QZ_MODULE_API_EXPORT Q_DECL_EXPORT
#else
#define QZ_MODULE_API_EXPORT Q_DECL_IMPORT
#endif

#endif
