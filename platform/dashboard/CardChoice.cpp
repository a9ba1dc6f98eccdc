#include "dashboard/CardChoice.h"

#include <QtCore/QFileInfo>

#include <algorithm>
#include <iterator>

namespace dashboard
{

namespace
{

bool hasScheme(const QString &address, const QString &scheme)
{
    return address == scheme || address.startsWith(scheme + ':');
}

constexpr struct {
    sdk::Turn turn;
    const char *words;
} turns[] = {
    {sdk::Turn::NoCard, "no card"},
    {sdk::Turn::Rest, "at rest"},
    {sdk::Turn::Card, "waiting for the card"},
    {sdk::Turn::User, "waiting for the user"},
    {sdk::Turn::Network, "waiting for the network"},
};

} // namespace

bool isRealCard(const QString &address)
{
    return hasScheme(address, "pcsc") || hasScheme(address, "modem");
}

QString addressOfProfile(const QString &file)
{
    return isRealCard(file) ? "./" + file : file;
}

QString cardWords(const QString &address)
{
    const QString place = address.section(':', 1);
    if (!isRealCard(address))
        return QString("the card of %1").arg(QFileInfo(address).fileName());
    if (hasScheme(address, "modem"))
        return QString("the card in the modem at %1").arg(place);
    return place.isEmpty() ? QString("the card in the reader") : QString("the card in the reader \"%1\"").arg(place);
}

QString placeWords(const QString &address)
{
    return hasScheme(address, "modem") ? "Card in a modem" : isRealCard(address) ? "Card in a reader" : "";
}

QString missingCardWords(const QString &address)
{
    return hasScheme(address, "modem") ? "Plug the modem in" : "Insert a card";
}

QString turnWords(sdk::Turn turn)
{
    const auto row =
        std::find_if(std::begin(turns), std::end(turns), [turn](const auto &each) { return each.turn == turn; });
    return row == std::end(turns) ? QString::number(static_cast<int>(turn)) : row->words;
}

CardPlaces findCardPlaces()
{
    CardPlaces places;
    std::string problem;
    for (const std::string &name : sdk::listReaders(&problem))
        places.readers << QString::fromStdString(name);
    if (places.readers.isEmpty())
        places.readerProblem = problem.empty() ? QString("there is no reader") : QString::fromStdString(problem);
    for (const std::string &line : sdk::listModemLines())
        places.modemLines << QString::fromStdString(line);
    return places;
}

} // namespace dashboard
