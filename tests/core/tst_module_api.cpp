// SPDX-License-Identifier: BSD-3-Clause
#include "module_api/error_descriptor.h"
#include "module_api/media_exception.h"
#include "module_api/proto_exception.h"
#include "module_api/qz_module.h"

#include <QtTest>

#include <cstddef>
#include <stdexcept>
#include <type_traits>

using namespace qz::api::proto;

// The module reads the configuration as twelve consecutive 32-bit fields.
static_assert(sizeof(command_config) == 12 * 4);
static_assert(std::is_standard_layout_v<command_config>);
static_assert(offsetof(command_config, persistent_time) == 0);
static_assert(offsetof(command_config, timeout_pipe) == 4);
static_assert(offsetof(command_config, timeout_xs) == 8);
static_assert(offsetof(command_config, timeout_xl) == 24);
static_assert(offsetof(command_config, repeats_xs) == 28);
static_assert(offsetof(command_config, repeats_xl) == 44);
static_assert(std::is_unsigned_v<decltype(command_config::persistent_time)>);
static_assert(std::is_signed_v<decltype(command_config::timeout_pipe)>);
static_assert(std::is_abstract_v<qz_module>);
static_assert(std::is_polymorphic_v<qz_media>);
static_assert(sizeof(media_exception::exception_type_e) == 4);
static_assert(sizeof(proto_exception::exception_type_e) == 4);
static_assert(std::is_base_of_v<std::exception, media_exception>);
static_assert(!std::is_base_of_v<std::runtime_error, media_exception>);
static_assert(std::is_base_of_v<std::runtime_error, proto_exception>);
static_assert(std::is_copy_constructible_v<error_descriptor>);

class tst_module_api : public QObject {
    Q_OBJECT

private slots:
    void exception_kinds_have_fixed_numbers()
    {
        QCOMPARE(int(media_exception::no_error), 0);
        QCOMPARE(int(media_exception::no_device), 1);
        QCOMPARE(int(media_exception::stopped), 6);
        QCOMPARE(int(media_exception::general_error), 7);
        QCOMPARE(int(proto_exception::general_error), 1);
        QCOMPARE(int(proto_exception::no_device), 2);
        QCOMPARE(int(proto_exception::crc_error), 6);
        QCOMPARE(int(proto_exception::busy), 9);
    }

    void media_exception_carries_type_and_message()
    {
        const media_exception e(media_exception::read_failed, "port gone");
        QCOMPARE(e.get_type(), media_exception::read_failed);
        QCOMPARE(QByteArray(e.what()), QByteArray("port gone"));
        QCOMPARE(QByteArray(media_exception(media_exception::stopped).what()), QByteArray());
    }

    void proto_exception_is_caught_as_runtime_error()
    {
        try {
            throw proto_exception(proto_exception::crc_error, "bad crc");
        } catch (const std::runtime_error& e) {
            QCOMPARE(QByteArray(e.what()), QByteArray("bad crc"));
            QCOMPARE(dynamic_cast<const proto_exception&>(e).get_type(), proto_exception::crc_error);
            return;
        }
        QFAIL("not caught as std::runtime_error");
    }

    void media_exception_passes_a_runtime_error_handler()
    {
        bool runtime = false;
        bool general = false;
        try {
            try {
                throw media_exception(media_exception::no_device, "no device");
            } catch (const std::runtime_error&) {
                runtime = true;
            }
        } catch (const std::exception&) {
            general = true;
        }
        QVERIFY(!runtime);
        QVERIFY(general);
    }

    void media_default_mode_is_zero()
    {
        const qz_media media;
        QCOMPARE(media.mode, 0);
    }

    void empty_descriptor()
    {
        const error_descriptor d;
        QVERIFY(d.message.isEmpty());
        QVERIFY(d.details.isEmpty());
        QCOMPARE(int(d.media_type), 0);
        QCOMPARE(int(d.proto_type), 0);
    }

    void descriptor_from_media_failure()
    {
        const media_exception e(media_exception::no_device, "Ger\xc3\xa4t fehlt");
        const error_descriptor d(&e, nullptr, nullptr);
        QCOMPARE(d.message, QString::fromUtf8("Ger\xc3\xa4t fehlt"));
        QCOMPARE(d.media_type, media_exception::no_device);
        QCOMPARE(int(d.proto_type), 0);
    }

    void descriptor_from_proto_failure()
    {
        const proto_exception e(proto_exception::busy, "busy");
        const error_descriptor d(nullptr, &e, nullptr);
        QCOMPARE(d.message, QStringLiteral("busy"));
        QCOMPARE(int(d.media_type), 0);
        QCOMPARE(d.proto_type, proto_exception::busy);
    }

    void descriptor_from_other_failure_has_no_kinds()
    {
        const std::runtime_error e("something else");
        const error_descriptor d(nullptr, nullptr, &e);
        QCOMPARE(d.message, QStringLiteral("something else"));
        QCOMPARE(int(d.media_type), 0);
        QCOMPARE(int(d.proto_type), 0);

        // A protocol failure handed in as a general exception keeps only its message.
        const proto_exception p(proto_exception::crc_error, "crc");
        const error_descriptor g(nullptr, nullptr, &p);
        QCOMPARE(g.message, QStringLiteral("crc"));
        QCOMPARE(int(g.proto_type), 0);
    }

    void descriptor_from_nothing_stays_empty()
    {
        const error_descriptor d(nullptr, nullptr, nullptr);
        QVERIFY(d.message.isEmpty());
        QCOMPARE(int(d.media_type), 0);
        QCOMPARE(int(d.proto_type), 0);
    }

    void descriptor_is_a_copyable_meta_type()
    {
        const media_exception e(media_exception::write_failed, "write");
        error_descriptor d(&e, nullptr, nullptr);
        d.details = QStringLiteral("more");

        const QVariant v = QVariant::fromValue(d);
        QVERIFY(QMetaType::isRegistered(v.userType()));
        QCOMPARE(QByteArray(v.typeName()), QByteArray("qz::api::proto::error_descriptor"));
        const auto copy = v.value<error_descriptor>();
        QCOMPARE(copy.message, QStringLiteral("write"));
        QCOMPARE(copy.details, QStringLiteral("more"));
        QCOMPARE(copy.media_type, media_exception::write_failed);
        QCOMPARE(int(copy.proto_type), 0);
    }
};

QTEST_GUILESS_MAIN(tst_module_api)
#include "tst_module_api.moc"
