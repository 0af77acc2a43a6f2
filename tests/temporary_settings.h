// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_TESTS_TEMPORARY_SETTINGS_H
#define QZGUI_TESTS_TEMPORARY_SETTINGS_H

#include <QCoreApplication>
#include <QSettings>
#include <QTemporaryDir>

namespace qz::test {

/// Points the application's default QSettings at an INI store in a fresh temporary directory.
class temporary_settings {
public:
    temporary_settings()
    {
        // The application name defaults to the test executable's.
        QCoreApplication::setOrganizationName(QStringLiteral("qzgui-tests"));
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, _dir.path());
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, _dir.path());
    }

    /// Empties the store.
    void clear() { QSettings().clear(); }

    /// Stores @p value under @p key.
    void set(const QString& key, const QVariant& value) { QSettings().setValue(key, value); }

private:
    QTemporaryDir _dir;
};

} // namespace qz::test

#endif
