// SPDX-License-Identifier: BSD-3-Clause
// The library's texts are translated by the translator installed when their object is built.
#include "qzgui/log_menu_controller.h"
#include "qzgui/resource_manager.h"

#include <QListWidget>
#include <QMenu>
#include <QTimer>
#include <QTranslator>
#include <QtTest>

using qz::api::proto::media_exception;
using qz::api::proto::proto_exception;
using qz::gui::resource_manager;
using W = qz::gui::sat_worker;

class tst_translations : public QObject {
    Q_OBJECT

    QTranslator _german;

    // The texts of a catalogue, for comparing two of them.
    static QStringList texts_of(const resource_manager& texts)
    {
        QStringList all;
        for (int k = 0; k < 8; ++k)
            all << texts.get_media_exception_string(media_exception::exception_type_e(k));
        for (int k = 0; k < 10; ++k)
            all << texts.get_proto_exception_string(proto_exception::exception_type_e(k));
        for (int t = 0; t < 9; ++t)
            for (int s = 0; s < 3; ++s)
                all << texts.get_operation_type_string(W::operation_type_e(t), W::operation_status_e(s));
        return all;
    }

private slots:
    void initTestCase() { QVERIFY(_german.load(QStringLiteral("qzgui_de"), QStringLiteral(QZGUI_QM_DIR))); }

    void cleanup() { QCoreApplication::removeTranslator(&_german); }

    void translator_installed_before_the_catalogue_is_used()
    {
        QVERIFY(QCoreApplication::installTranslator(&_german));
        const resource_manager texts;
        QCOMPARE(texts.get_media_exception_string(media_exception::stopped), QStringLiteral("angehalten"));
        QCOMPARE(texts.get_proto_exception_string(proto_exception::no_device),
                 QString::fromUtf8("bitte COM-Port und Geräteadresse prüfen"));
        QCOMPARE(texts.get_operation_type_string(W::op_read, W::status_begin),
                 QStringLiteral("Beginn des Vorgangs LESEN"));
        QCOMPARE(texts.get_operation_error_string(W::op_erase),
                 QString::fromUtf8("Fehler beim Ausführen des Vorgangs LÖSCHEN"));
        // Connection states and the fallback text are not translated.
        QCOMPARE(texts.get_connection_state_string(W::state_error), QStringLiteral("error occured"));
        QCOMPARE(texts.get_media_exception_string(media_exception::exception_type_e(9)),
                 QStringLiteral("<< operation string not configured >>>"));
    }

    void translator_installed_afterwards_changes_nothing()
    {
        const resource_manager texts;
        const QStringList before = texts_of(texts);
        QCOMPARE(texts.get_media_exception_string(media_exception::stopped), QStringLiteral("stopped"));
        QVERIFY(QCoreApplication::installTranslator(&_german));
        QCOMPARE(texts_of(texts), before);
        QVERIFY(texts_of(resource_manager()) != before);
    }

    void every_text_has_a_german_translation()
    {
        const QStringList english = texts_of(resource_manager());
        QVERIFY(QCoreApplication::installTranslator(&_german));
        const QStringList german = texts_of(resource_manager());
        for (int i = 0; i < english.size(); ++i) {
            if (english[i].contains(QLatin1String("not configured")))
                continue;
            QVERIFY2(german[i] != english[i], qPrintable(english[i]));
        }
    }

    void context_menu_follows_the_installed_translator()
    {
        QVERIFY(QCoreApplication::installTranslator(&_german));
        QListWidget list;
        qz::gui::log_menu_controller menu(&list);
        list.show();
        QVERIFY(QTest::qWaitForWindowExposed(&list));
        QStringList entries;
        QTimer::singleShot(0, this, [&] {
            auto* popup = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            QVERIFY(popup);
            for (QAction* action : popup->actions())
                entries << action->text();
            popup->close();
        });
        emit list.customContextMenuRequested(QPoint(5, 5));
        QCOMPARE(entries, QStringList({"Auswahl kopieren", "Leeren"}));
    }
};

QTEST_MAIN(tst_translations)
#include "tst_translations.moc"
