// SPDX-License-Identifier: BSD-3-Clause
// A host program of the trend companion library: a history with a gap, drawn offscreen.
#include <qzgui/parameter_description.h>
#include <qzgui/sample_history.h>
#include <qzgui/trend/trend_view.h>

#include <QApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    qz::gui::sample_history history;
    for (int i = 0; i < 100; ++i) {
        if (i == 50)
            history.add_gap(1, i * 1000);
        else
            history.add(1, i * 1000, i);
    }
    qz::gui::parameter_description level;
    level.id = 1;
    level.name = QStringLiteral("Level");
    level.unit = QStringLiteral("dBm");
    qz::gui::trend_view trend(&history);
    trend.add_parameter(level);
    trend.resize(400, 300);
    trend.refresh();
    const bool drawn = !trend.grab().isNull();
    std::printf("trend consumer: %d line(s), %d sample(s)\n", int(trend.parameters().size()),
                history.size(1));
    return drawn && trend.parameters().size() == 1 && history.size(1) == 100 ? 0 : 1;
}
