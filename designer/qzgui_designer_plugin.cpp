// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui_designer_plugin.h"

#include <qzgui/HexSpinBox16.h>
#include <qzgui/HexSpinBox32.h>

#include <QIcon>
#include <QPainter>
#include <QPixmap>

namespace qz::designer {

hexspinbox_entry::hexspinbox_entry(bool is16Bit, QObject* parent)
    : QObject(parent)
    , _is16Bit(is16Bit)
{}

QString hexspinbox_entry::name() const
{
    return _is16Bit ? QStringLiteral("qz::gui::HexSpinBox16") : QStringLiteral("qz::gui::HexSpinBox32");
}

QString hexspinbox_entry::group() const
{
    return QStringLiteral("qzgui");
}

QString hexspinbox_entry::toolTip() const
{
    return _is16Bit ? tr("Hexadecimal spin box, 0x0 to 0xFFFF")
                    : tr("Hexadecimal spin box, every 32-bit pattern (0x0 to 0xFFFFFFFF)");
}

QString hexspinbox_entry::whatsThis() const
{
    return tr("A spin box that shows and accepts its value in hexadecimal, with a \"0x\" prefix and "
              "upper-case digits.");
}

QString hexspinbox_entry::includeFile() const
{
    return _is16Bit ? QStringLiteral("qzgui/HexSpinBox16.h") : QStringLiteral("qzgui/HexSpinBox32.h");
}

QIcon hexspinbox_entry::icon() const
{
    // Drawn rather than shipped: "0x" over the bit count.
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setPen(QColor(0x20, 0x4a, 0x87));
    painter.drawRect(1, 1, 29, 29);
    QFont font = painter.font();
    font.setPixelSize(12);
    font.setBold(true);
    painter.setFont(font);
    painter.drawText(QRect(0, 2, 32, 15), Qt::AlignCenter, QStringLiteral("0x"));
    font.setBold(false);
    font.setPixelSize(10);
    painter.setFont(font);
    painter.drawText(QRect(0, 15, 32, 14), Qt::AlignCenter,
                     _is16Bit ? QStringLiteral("16") : QStringLiteral("32"));
    return QIcon(pixmap);
}

bool hexspinbox_entry::isContainer() const
{
    return false;
}

QWidget* hexspinbox_entry::createWidget(QWidget* parent)
{
    if (_is16Bit)
        return new gui::HexSpinBox16(parent);
    return new gui::HexSpinBox32(parent);
}

QString hexspinbox_entry::domXml() const
{
    const QString object = _is16Bit ? QStringLiteral("hexSpinBox16") : QStringLiteral("hexSpinBox32");
    return QStringLiteral("<ui language=\"c++\">"
                          "<widget class=\"%1\" name=\"%2\"/>"
                          "<customwidgets><customwidget><class>%1</class><extends>QSpinBox</extends>"
                          "<header>%3</header></customwidget></customwidgets>"
                          "</ui>")
        .arg(name(), object, includeFile());
}

qzgui_designer_plugin::qzgui_designer_plugin(QObject* parent)
    : QObject(parent)
{
    _widgets.append(new hexspinbox_entry(true, this));
    _widgets.append(new hexspinbox_entry(false, this));
}

QList<QDesignerCustomWidgetInterface*> qzgui_designer_plugin::customWidgets() const
{
    return _widgets;
}

} // namespace qz::designer
