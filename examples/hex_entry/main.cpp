// SPDX-License-Identifier: BSD-3-Clause
// Two hexadecimal fields, 16-bit and 32-bit, with their values shown in decimal.
// With --script the window fills itself, prints what it shows and exits.
#include <qzgui/HexSpinBox.h>

#include <QApplication>
#include <QFormLayout>
#include <QLabel>
#include <QTextStream>
#include <QWidget>

using qz::gui::HexSpinBox;

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const bool script = app.arguments().contains(QStringLiteral("--script"));

    QWidget window;
    window.setWindowTitle(QStringLiteral("qzgui: hexadecimal entry"));
    auto* layout = new QFormLayout(&window);
    auto* address = new HexSpinBox(true, &window);
    auto* mask = new HexSpinBox(false, &window);
    auto* decimal = new QLabel(&window);
    layout->addRow(QStringLiteral("Address (16-bit)"), address);
    layout->addRow(QStringLiteral("Mask (32-bit)"), mask);
    layout->addRow(QStringLiteral("Decimal"), decimal);

    const auto show_decimal = [&] {
        decimal->setText(QStringLiteral("%1 / %2").arg(address->hexValue()).arg(mask->hexValue()));
    };
    QObject::connect(address, qOverload<int>(&QSpinBox::valueChanged), show_decimal);
    QObject::connect(mask, qOverload<int>(&QSpinBox::valueChanged), show_decimal);
    show_decimal();

    if (!script) {
        window.show();
        return app.exec();
    }

    QTextStream out(stdout);
    address->setHexValue(0x1F);
    mask->setHexValue(0xFFFFFFFFu);
    out << "address: " << address->text() << " (" << address->value() << ")\n";
    out << "mask:    " << mask->text() << " (" << mask->value() << ")\n";
    address->setHexValue(0x12345);
    out << "address set to 0x12345 stays in range: " << address->text() << "\n";
    out << "decimal: " << decimal->text() << "\n";
    return 0;
}
