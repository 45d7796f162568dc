#pragma once

#include <QImage>

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
