// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/resource_manager.h"

#include <QtTest>

#include <stdexcept>

using qz::api::proto::media_exception;
using qz::api::proto::proto_exception;
using qz::gui::error_descriptor;
using qz::gui::resource_manager;
using W = qz::gui::sat_worker;

namespace {

const QString fallback = QStringLiteral("<< operation string not configured >>>");

error_descriptor descriptor(int media, int proto, const QString& message)
{
    error_descriptor d;
    d.media_type = media_exception::exception_type_e(media);
    d.proto_type = proto_exception::exception_type_e(proto);
    d.message = message;
    return d;
}

} // namespace

class tst_resource_manager : public QObject {
    Q_OBJECT

private slots:
    void media_texts_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("text");
        QTest::newRow("0") << 0 << "no error";
        QTest::newRow("1") << 1 << "please check com port and device address";
        QTest::newRow("2") << 2 << "media not open";
        QTest::newRow("3") << 3 << "error while opening media";
        QTest::newRow("4") << 4 << "error while reading data";
        QTest::newRow("5") << 5 << "error while writing data";
        QTest::newRow("6") << 6 << "stopped";
        QTest::newRow("7") << 7 << "general error";
        QTest::newRow("8, unknown") << 8 << fallback;
        QTest::newRow("-1, unknown") << -1 << fallback;
    }

    void media_texts()
    {
        QFETCH(int, key);
        const resource_manager texts;
        QTEST(texts.get_media_exception_string(media_exception::exception_type_e(key)), "text");
    }

    void proto_texts_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("text");
        QTest::newRow("0") << 0 << "no error";
        QTest::newRow("1") << 1 << "general error";
        QTest::newRow("2") << 2 << "please check com port and device address";
        QTest::newRow("3") << 3 << "command response error";
        QTest::newRow("4") << 4 << "invalid result value in response";
        QTest::newRow("5") << 5 << "parameter error";
        QTest::newRow("6") << 6 << "CRC error";
        QTest::newRow("7") << 7 << "PIPE error";
        QTest::newRow("8") << 8 << "AX25 error";
        QTest::newRow("9") << 9 << "another command is in progress";
        QTest::newRow("10, unknown") << 10 << fallback;
    }

    void proto_texts()
    {
        QFETCH(int, key);
        const resource_manager texts;
        QTEST(texts.get_proto_exception_string(proto_exception::exception_type_e(key)), "text");
    }

    void connection_state_texts_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("text");
        QTest::newRow("connecting") << 0 << "connecting";
        QTest::newRow("connected") << 1 << "connected";
        QTest::newRow("disconnected") << 2 << "disconnected";
        QTest::newRow("pipe drain") << 3 << "pipe drain";
        QTest::newRow("error, spelled as it is") << 4 << "error occured";
        QTest::newRow("5, unknown") << 5 << fallback;
    }

    void connection_state_texts()
    {
        QFETCH(int, key);
        const resource_manager texts;
        QTEST(texts.get_connection_state_string(W::connection_state_e(key)), "text");
    }

    void lookups_return_stable_references()
    {
        const resource_manager texts;
        const QString& a = texts.get_media_exception_string(media_exception::stopped);
        const QString& b = texts.get_media_exception_string(media_exception::stopped);
        QCOMPARE(&a, &b);
        QCOMPARE(&texts.get_connection_state_string(W::connection_state_e(9)),
                 &texts.get_proto_exception_string(proto_exception::exception_type_e(99)));
    }

    void operation_lines_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("text");
        QTest::newRow("begin read") << 0 << 0 << "begin of READ operation";
        QTest::newRow("end write") << 1 << 1 << "end of WRITE operation";
        QTest::newRow("error reset") << 2 << 2 << "error while performing RESET operation";
        QTest::newRow("flash") << 3 << 0 << "begin of FLASH operation";
        QTest::newRow("upload") << 4 << 0 << "begin of UPLOAD operation";
        QTest::newRow("download") << 5 << 1 << "end of DOWNLOAD operation";
        QTest::newRow("reserved 6") << 6 << 0 << "begin of " + fallback + " operation";
        QTest::newRow("erase") << 7 << 0 << "begin of ERASE operation";
        QTest::newRow("dir") << 8 << 1 << "end of DIR operation";
        QTest::newRow("unknown 9") << 9 << 2 << "error while performing " + fallback + " operation";
    }

    void operation_lines()
    {
        QFETCH(int, type);
        QFETCH(int, status);
        const resource_manager texts;
        QTEST(texts.get_operation_type_string(W::operation_type_e(type), W::operation_status_e(status)),
              "text");
    }

    void unknown_phase_throws()
    {
        const resource_manager texts;
        try {
            texts.get_operation_type_string(W::op_read, W::operation_status_e(3));
            QFAIL("no exception");
        } catch (const std::out_of_range& e) {
            QCOMPARE(QByteArray(e.what()), QByteArray("map::at"));
        }
    }

    void operation_error_lines()
    {
        const resource_manager texts;
        QCOMPARE(texts.get_operation_error_string(W::op_write), "error while performing WRITE operation");
        QCOMPARE(texts.get_operation_error_string(W::op_reserved_6),
                 "error while performing " + fallback + " operation");
    }

    void descriptor_texts_data()
    {
        QTest::addColumn<int>("media");
        QTest::addColumn<int>("proto");
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("text");
        QTest::newRow("media wins, level 10")
            << 3 << 5 << "port busy" << 10 << "error while opening media: port busy";
        QTest::newRow("media wins, level 4") << 3 << 5 << "port busy" << 4 << "error while opening media";
        QTest::newRow("proto, level 5") << 0 << 6 << "bad" << 5 << "CRC error: bad";
        QTest::newRow("no kinds, level 5") << 0 << 0 << "plain" << 5 << ": plain";
        QTest::newRow("no kinds, level 0") << 0 << 0 << "plain" << 0 << "";
        QTest::newRow("no kinds, no message") << 0 << 0 << "" << 10 << "";
        QTest::newRow("no message") << 1 << 0 << "" << 10 << "please check com port and device address";
        QTest::newRow("negative level") << 7 << 0 << "x" << -3 << "general error";
        QTest::newRow("unknown media kind") << 42 << 0 << "x" << 10 << fallback + ": x";
    }

    void descriptor_texts()
    {
        QFETCH(int, media);
        QFETCH(int, proto);
        QFETCH(QString, message);
        QFETCH(int, level);
        resource_manager texts;
        texts.set_verbose_level(level);
        QTEST(texts.get_error_descriptor_string(descriptor(media, proto, message)), "text");
    }

    void verbose_level_reads_as_a_flag()
    {
        resource_manager texts;
        QVERIFY(texts.get_verbose_level());
        texts.set_verbose_level(0);
        QVERIFY(!texts.get_verbose_level());
        texts.set_verbose_level(-3);
        QVERIFY(texts.get_verbose_level());
        QCOMPARE(texts.get_error_descriptor_string(descriptor(2, 0, "m")), "media not open");
    }

    void same_hint_at_different_keys()
    {
        const resource_manager texts;
        QCOMPARE(texts.get_media_exception_string(media_exception::no_device),
                 texts.get_proto_exception_string(proto_exception::no_device));
    }

    void const_lookups_from_several_threads()
    {
        const resource_manager texts;
        std::atomic<int> wrong{0};
        auto lookups = [&] {
            for (int i = 0; i < 2000; ++i) {
                if (texts.get_proto_exception_string(proto_exception::crc_error)
                    != QLatin1String("CRC error"))
                    ++wrong;
                if (texts.get_operation_type_string(W::op_read, W::status_end)
                    != QLatin1String("end of READ operation"))
                    ++wrong;
            }
        };
        std::unique_ptr<QThread> other(QThread::create(lookups));
        other->start();
        lookups();
        QVERIFY(other->wait(60000));
        QCOMPARE(wrong.load(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_resource_manager)
#include "tst_resource_manager.moc"
