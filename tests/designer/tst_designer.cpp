// SPDX-License-Identifier: BSD-3-Clause
// The Designer plugin as Designer loads it, and a form with hex spin boxes compiled by uic.
#include "ui_hex_form.h"

#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>

#include <QLineEdit>
#include <QPluginLoader>
#include <QtTest>

#include <limits>

class tst_designer : public QObject {
    Q_OBJECT

    QPluginLoader _loader{QStringLiteral(QZGUI_DESIGNER_PLUGIN)};
    QList<QDesignerCustomWidgetInterface*> _widgets;

private slots:
    void initTestCase()
    {
        QVERIFY2(_loader.load(), qPrintable(_loader.errorString()));
        auto* collection = qobject_cast<QDesignerCustomWidgetCollectionInterface*>(_loader.instance());
        QVERIFY(collection);
        _widgets = collection->customWidgets();
    }

    void plugin_metadata_names_the_collection_interface()
    {
        QCOMPARE(_loader.metaData().value(QStringLiteral("IID")).toString(),
                 QStringLiteral("org.qt-project.Qt.QDesignerCustomWidgetCollectionInterface"));
    }

    void two_entries_in_the_qzgui_group()
    {
        QCOMPARE(_widgets.size(), 2);
        QCOMPARE(_widgets[0]->name(), QStringLiteral("qz::gui::HexSpinBox16"));
        QCOMPARE(_widgets[1]->name(), QStringLiteral("qz::gui::HexSpinBox32"));
        for (QDesignerCustomWidgetInterface* entry : _widgets) {
            QCOMPARE(entry->group(), QStringLiteral("qzgui"));
            QVERIFY(!entry->toolTip().isEmpty());
            QVERIFY(!entry->whatsThis().isEmpty());
            QVERIFY(!entry->icon().isNull());
            QVERIFY(!entry->isContainer());
            QVERIFY(entry->domXml().contains("<widget class=\"" + entry->name() + "\""));
            QVERIFY(entry->domXml().contains("<header>" + entry->includeFile() + "</header>"));
        }
        QCOMPARE(_widgets[0]->includeFile(), QStringLiteral("qzgui/HexSpinBox16.h"));
        QCOMPARE(_widgets[1]->includeFile(), QStringLiteral("qzgui/HexSpinBox32.h"));
    }

    void entries_create_their_ranges()
    {
        QWidget parent;
        auto* box16 = qobject_cast<QSpinBox*>(_widgets[0]->createWidget(&parent));
        auto* box32 = qobject_cast<QSpinBox*>(_widgets[1]->createWidget(&parent));
        QVERIFY(box16 && box32);
        QCOMPARE(box16->parent(), &parent);
        QCOMPARE(box16->maximum(), 0xFFFF);
        QCOMPARE(box16->minimum(), 0);
        QCOMPARE(box32->minimum(), std::numeric_limits<int>::min());
        QCOMPARE(box32->prefix(), QStringLiteral("0x"));
        QVERIFY(dynamic_cast<qz::gui::HexSpinBox*>(box32));
    }

    void form_built_by_uic_runs()
    {
        QWidget form;
        Ui::hex_form ui;
        ui.setupUi(&form);
        QCOMPARE(ui.address->maximum(), 0xFFFF);
        QCOMPARE(ui.mask->maximum(), std::numeric_limits<int>::max());
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        ui.mask->setFocus();
        QTest::keyClick(ui.mask, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(ui.mask, QStringLiteral("ffff0000"));
        QCOMPARE(ui.mask->hexValue(), 0xFFFF0000u);
        QCOMPARE(ui.mask->findChild<QLineEdit*>()->text(), QStringLiteral("0xFFFF0000"));
    }
};

QTEST_MAIN(tst_designer)
#include "tst_designer.moc"
