// SPDX-License-Identifier: BSD-3-Clause
// The samples of polled parameters: their span, their order, gaps, and the decimated line a plot
// draws, checked against a reduction by brute force and by drawing both.
#include "qzgui/sample_history.h"

#include <QImage>
#include <QPainter>
#include <QRandomGenerator>
#include <QtTest>

#include <cmath>
#include <limits>

using qz::gui::sample_history;

namespace {

bool same_points(const QVector<QPointF>& a, const QVector<QPointF>& b)
{
    if (a.size() != b.size())
        return false;
    for (int i = 0; i < a.size(); ++i) {
        const bool gaps = std::isnan(a[i].y()) && std::isnan(b[i].y());
        if (a[i].x() != b[i].x() || (!gaps && a[i].y() != b[i].y()))
            return false;
    }
    return true;
}

// The decimated line worked out the slow way: every sample put in its column, the columns cut at
// gaps, and of each stretch the first, lowest, highest and last (the first of equals) in time order.
QVector<QPointF> brute_force(const QVector<QPointF>& all, qint64 from, qint64 to, int columns)
{
    QVector<QPointF> out;
    QVector<QPointF> stretch;
    int column = -1;
    const auto flush = [&] {
        if (stretch.isEmpty())
            return;
        int low = 0, high = 0;
        for (int i = 1; i < stretch.size(); ++i) {
            if (stretch[i].y() < stretch[low].y())
                low = i;
            if (stretch[i].y() > stretch[high].y())
                high = i;
        }
        QList<int> keep{0, low, high, int(stretch.size()) - 1};
        std::sort(keep.begin(), keep.end());
        keep.erase(std::unique(keep.begin(), keep.end()), keep.end());
        for (const int k : keep)
            out.append(stretch[k]);
        stretch.clear();
    };
    for (const QPointF& p : all) {
        const qint64 t = qint64(p.x());
        if (t < from || t >= to)
            continue;
        const int c = std::min(columns - 1, int(std::floor(double(t - from) * columns / double(to - from))));
        if (c != column) {
            flush();
            column = c;
        }
        if (std::isnan(p.y())) {
            flush();
            out.append(p);
        } else {
            stretch.append(p);
        }
    }
    flush();
    return out;
}

// @p points drawn as a plot @p columns wide draws them: each sample in its column's middle, lines
// between neighbours, broken at gaps.
QImage drawn(const QVector<QPointF>& points, qint64 from, qint64 to, int columns, double low, double high)
{
    const int height = 200;
    QImage image(columns, height, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setPen(QPen(Qt::black, 1));
    // Whole pixels: a line between two of them has no ends half a pixel off.
    const auto at = [&](const QPointF& p) {
        const int c =
            std::min(columns - 1, int(std::floor((p.x() - double(from)) * columns / double(to - from))));
        return QPoint(c, int(std::lround((high - p.y()) / (high - low) * (height - 1))));
    };
    for (int i = 0; i < points.size(); ++i) {
        if (std::isnan(points[i].y()))
            continue;
        const QPoint here = at(points[i]);
        if (i + 1 < points.size() && !std::isnan(points[i + 1].y()) && at(points[i + 1]) != here)
            painter.drawLine(here, at(points[i + 1]));
        else
            painter.drawPoint(here);
    }
    return image;
}

} // namespace

class tst_sample_history : public QObject {
    Q_OBJECT

private slots:
    void samples_keep_their_order_and_ids_theirs()
    {
        sample_history history;
        QCOMPARE(history.newest_time(7), std::numeric_limits<qint64>::min());
        QCOMPARE(history.size(7), 0);
        history.add(7, 1000, 1.5);
        history.add(3, 1000, 2.0);
        history.add(7, 1000, 1.75); // the same time: kept
        history.add(7, 999, 9.0);   // older than the newest: dropped
        history.add_gap(7, 1100);
        history.add(7, 1200, 3.0);
        QCOMPARE(history.ids(), (QVector<uint32_t>{7, 3}));
        QCOMPARE(history.size(7), 4);
        QCOMPARE(history.newest_time(7), qint64(1200));
        const QVector<QPointF> all = history.samples(7, 0, 5000);
        QCOMPARE(all.size(), 4);
        QCOMPARE(all[0], QPointF(1000, 1.5));
        QCOMPARE(all[1], QPointF(1000, 1.75));
        QVERIFY(std::isnan(all[2].y()));
        QCOMPARE(all[2].x(), 1100.0);
        QCOMPARE(all[3], QPointF(1200, 3.0));
        // The range is [from, to).
        QCOMPARE(history.samples(7, 1100, 1200).size(), 1);
        QCOMPARE(history.samples(7, 1200, 1100).size(), 0);
        QCOMPARE(history.samples(99, 0, 5000).size(), 0);
    }

    void only_the_span_before_the_newest_is_kept()
    {
        sample_history history(1000);
        for (qint64 t = 0; t <= 3000; t += 100)
            history.add(1, t, double(t));
        QCOMPARE(history.size(1), 11); // 2000 to 3000
        QCOMPARE(history.samples(1, 0, 10000).first().x(), 2000.0);
        // Each id keeps its own span.
        history.add(2, 0, 1.0);
        QCOMPARE(history.size(2), 1);
        QCOMPARE(history.size(1), 11);
    }

    void times_stay_exact_over_weeks()
    {
        // Samples a day apart for 60 days, kept for 20 days: their times pass 2^31 ms from the
        // first one more than once, and stay exact to the millisecond.
        constexpr qint64 day = 24LL * 3600 * 1000;
        const qint64 t0 = 1700000000123;
        sample_history history(20 * day);
        for (int i = 0; i <= 60; ++i) {
            history.add(1, t0 + i * day + i, i);
            if (i == 30)
                history.add_gap(1, t0 + i * day + 500);
        }
        QCOMPARE(history.newest_time(1), t0 + 60 * day + 60);
        const QVector<QPointF> kept = history.samples(1, 0, std::numeric_limits<qint64>::max());
        QCOMPARE(kept.size(), 20); // days 41 to 60: day 40 came 20 ms too early
        for (int k = 0; k < kept.size(); ++k) {
            const int i = 41 + k;
            QCOMPARE(qint64(kept[k].x()), t0 + i * day + i);
            QCOMPARE(kept[k].y(), double(i));
        }
        // A sample far after the last (a device back after a month) is kept alone, exactly.
        history.add(1, t0 + 100 * day + 7, 100);
        QCOMPARE(history.size(1), 1);
        QCOMPARE(history.samples(1, 0, std::numeric_limits<qint64>::max()).value(0),
                 QPointF(double(t0 + 100 * day + 7), 100));

        // A gap kept across the base's move.
        sample_history gaps(20 * day);
        for (int i = 0; i <= 40; ++i) {
            if (i == 35)
                gaps.add_gap(2, t0 + i * day);
            else
                gaps.add(2, t0 + i * day, i);
        }
        const QVector<QPointF> with_gap = gaps.samples(2, t0 + 34 * day, t0 + 37 * day);
        QCOMPARE(with_gap.size(), 3);
        QCOMPARE(qint64(with_gap[1].x()), t0 + 35 * day);
        QVERIFY(std::isnan(with_gap[1].y()));
    }

    void a_span_past_24_days_keeps_24_days()
    {
        constexpr qint64 day = 24LL * 3600 * 1000;
        sample_history history(100 * day);
        for (int i = 0; i <= 60; ++i)
            history.add(1, i * day, i);
        QCOMPARE(history.size(1), 25); // days 36 to 60
        QCOMPARE(history.samples(1, 0, 61 * day).first().y(), 36.0);
    }

    void decimated_is_the_brute_force_reduction_data()
    {
        QTest::addColumn<int>("samples");
        QTest::addColumn<int>("columns");
        QTest::addColumn<int>("gaps_per_mille");
        QTest::addColumn<int>("shortest_step");
        QTest::addColumn<int>("longest_step");
        QTest::newRow("dense") << 20000 << 300 << 0 << 1 << 201;
        QTest::newRow("dense with gaps") << 20000 << 300 << 5 << 1 << 201;
        QTest::newRow("sparse") << 50 << 800 << 50 << 1 << 201;
        QTest::newRow("one column") << 1000 << 1 << 10 << 1 << 201;
        QTest::newRow("many gaps") << 5000 << 100 << 300 << 1 << 201;
        // Samples a millisecond apart or at one time, and columns narrower than a millisecond.
        QTest::newRow("equal times") << 20000 << 300 << 5 << 0 << 2;
        QTest::newRow("columns under a millisecond") << 20000 << 3000 << 5 << 0 << 1;
    }

    void decimated_is_the_brute_force_reduction()
    {
        QFETCH(int, samples);
        QFETCH(int, columns);
        QFETCH(int, gaps_per_mille);
        QFETCH(int, shortest_step);
        QFETCH(int, longest_step);
        QRandomGenerator random(uint(samples * 31 + columns));
        sample_history history(std::numeric_limits<qint64>::max() / 4);
        qint64 t = 1700000000000;
        double value = 0;
        for (int i = 0; i < samples; ++i) {
            t += shortest_step + random.bounded(longest_step - shortest_step + 1);
            if (int(random.bounded(1000)) < gaps_per_mille) {
                history.add_gap(1, t);
                continue;
            }
            // A walk with plateaus: equal values test which of equals is kept.
            value += random.bounded(10) < 3 ? 0.0 : random.bounded(2.0) - 1.0;
            history.add(1, t, std::round(value * 4) / 4);
        }
        const qint64 from = 1700000000000 + 5000, to = t - 3000;
        const QVector<QPointF> all = history.samples(1, from, to);
        const QVector<QPointF> reduced = history.decimated(1, from, to, columns);
        QVERIFY(same_points(reduced, brute_force(all, from, to, columns)));
        int gaps = 0;
        for (const QPointF& p : all)
            gaps += std::isnan(p.y());
        QVERIFY(reduced.size() <= 4 * columns + 4 * gaps + gaps);
        if (samples > 10 * columns && gaps_per_mille < 50)
            QVERIFY2(reduced.size() < all.size() / 2, qPrintable(QString::number(reduced.size())));

        // Drawn, the reduced line has the same pixels as every sample.
        double low = 0, high = 0;
        for (const QPointF& p : all)
            if (!std::isnan(p.y())) {
                low = std::min(low, p.y());
                high = std::max(high, p.y());
            }
        high += 1;
        const QImage a = drawn(reduced, from, to, columns, low, high),
                     b = drawn(all, from, to, columns, low, high);
        int differ = 0;
        QString where;
        for (int y = 0; y < a.height(); ++y)
            for (int x = 0; x < a.width(); ++x)
                if (a.pixel(x, y) != b.pixel(x, y)) {
                    if (++differ < 5)
                        where += QStringLiteral(" (%1,%2 %3/%4)")
                                     .arg(x)
                                     .arg(y)
                                     .arg(qRed(a.pixel(x, y)))
                                     .arg(qRed(b.pixel(x, y)));
                }
        QVERIFY2(differ == 0, qPrintable(QString::number(differ) + where));
    }

    void decimating_nothing_gives_nothing()
    {
        sample_history history;
        QCOMPARE(history.decimated(1, 0, 100, 10).size(), 0);
        history.add(1, 50, 1.0);
        QCOMPARE(history.decimated(1, 0, 100, 0).size(), 0);
        QCOMPARE(history.decimated(1, 100, 0, 10).size(), 0);
        QCOMPARE(history.decimated(1, 0, 100, 10), (QVector<QPointF>{QPointF(50, 1.0)}));
    }
};

QTEST_MAIN(tst_sample_history)
#include "tst_sample_history.moc"
