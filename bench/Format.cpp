#include "Bench.h"

QString Bench::milliseconds(double ms)
{
    return QString::number(ms, 'f', ms < 10 ? 2 : ms < 100 ? 1 : 0) + u" ms";
}

QString Bench::mebibytes(qint64 kib)
{
    return QString::number(double(kib) / 1024, 'f', kib < 10240 ? 1 : 0) + u" MiB";
}

QString Bench::ratio(double ours, double reference)
{
    return reference > 0 ? QString::number(ours / reference, 'f', 2) : QStringLiteral("-");
}

QString Bench::cpu(const Measure::Pair &pair)
{
    return milliseconds(pair.ours.medianCpuMs()) + u" / " + milliseconds(pair.reference.medianCpuMs());
}

Bench::Medians Bench::fillTimes(Row &row, const Measure::Pair &pair, const QString &referenceName)
{
    const Medians medians{pair.ours.medianMs(), pair.reference.medianMs()};
    row.ours = milliseconds(medians.ours);
    row.reference = milliseconds(medians.reference) + u" (" + referenceName + u")";
    row.ratio = ratio(medians.ours, medians.reference);
    row.cpu = cpu(pair);
    return medians;
}
