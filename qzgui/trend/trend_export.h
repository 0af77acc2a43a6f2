// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_TREND_EXPORT_H
#define QZGUI_TREND_EXPORT_H

#include <QtCore/qglobal.h>

/// Marks a class or function as part of libqzgui_trend's ABI; everything else stays hidden.
#if defined(QZGUI_TREND_BUILDING_LIBRARY)
#define QZGUI_TREND_EXPORT Q_DECL_EXPORT
#else
#define QZGUI_TREND_EXPORT Q_DECL_IMPORT
#endif

#endif
