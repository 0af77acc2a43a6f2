// SPDX-License-Identifier: BSD-3-Clause
// Qt Designer plugin: the qzgui widgets in Designer's widget box.
#ifndef QZGUI_DESIGNER_PLUGIN_H
#define QZGUI_DESIGNER_PLUGIN_H

#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

#include <QObject>

namespace qz::designer {

/// One widget box entry: a hexadecimal spin box of 16 or 32 bits.
class hexspinbox_entry : public QObject, public QDesignerCustomWidgetInterface {
    Q_OBJECT
    Q_INTERFACES(QDesignerCustomWidgetInterface)

public:
    hexspinbox_entry(bool is16Bit, QObject* parent);

    QString name() const override;
    QString group() const override;
    QString toolTip() const override;
    QString whatsThis() const override;
    QString includeFile() const override;
    QIcon icon() const override;
    bool isContainer() const override;
    QWidget* createWidget(QWidget* parent) override;
    QString domXml() const override;

private:
    bool _is16Bit;
};

/// The plugin: every qzgui widget for Designer.
class qzgui_designer_plugin : public QObject, public QDesignerCustomWidgetCollectionInterface {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.qt-project.Qt.QDesignerCustomWidgetCollectionInterface")
    Q_INTERFACES(QDesignerCustomWidgetCollectionInterface)

public:
    explicit qzgui_designer_plugin(QObject* parent = nullptr);
    QList<QDesignerCustomWidgetInterface*> customWidgets() const override;

private:
    QList<QDesignerCustomWidgetInterface*> _widgets;
};

} // namespace qz::designer

#endif
