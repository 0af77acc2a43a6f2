// SPDX-License-Identifier: BSD-3-Clause
#include <module_api/error_descriptor.h>
#include <module_api/qz_module.h>
#include <qzgui/HexSpinBox.h>
#include <qzgui/qzgui.h>
#include <qzgui/qzgui_export.h>

#include <QApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    qz::gui::qzgui library;
    (void)library;

    qz::gui::HexSpinBox box(false);
    box.setHexValue(0xFFFFFFFFu);
    const qz::api::proto::media_exception failure(qz::api::proto::media_exception::no_device, "x");
    const qz::api::proto::error_descriptor descriptor(&failure, nullptr, nullptr);

    std::printf("Qt %s\n%s %d %d\n", qVersion(), qPrintable(box.text()), box.value(),
                int(descriptor.media_type));
    const bool ok = box.text() == QLatin1String("0xFFFFFFFF") && box.value() == -1
        && descriptor.media_type == qz::api::proto::media_exception::no_device;
    return ok ? 0 : 1;
}
