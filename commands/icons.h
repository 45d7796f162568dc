#pragma once

#include <QImage>
#include <QString>

// The toolbar pictures, loaded from the resources on first use and kept for the run. An icon
// comes with its mask already applied; a mask is black where the icon shows.
const QImage& icone_projetos32x32();
const QImage& icone_projetos32x32mask();
const QImage& icone_clientes32x32();
const QImage& icone_clientes32x32mask();
const QImage& icone_labels32x32();
const QImage& icone_labels32x32mask();
const QImage& icone_mailing32x32();
const QImage& icone_mailing32x32mask();
const QImage& icone_backup32x32();
const QImage& icone_backup32x32mask();

// The 64 by 64 drawing of the named picture ("icone_projetos32x32" and so on), mask applied, for
// screens of twice the density; loaded on first use and kept like the pictures themselves.
const QImage& drawingAt2x(const QString& name);
