#include "random.h"

#include <QRandomGenerator>

namespace {
std::function<double()>& source()
{
    static std::function<double()> s;
    return s;
}
} // namespace

double Rnd()
{
    return source() ? source()() : QRandomGenerator::global()->generateDouble();
}

void setRandomSource(std::function<double()> s)
{
    source() = std::move(s);
}
