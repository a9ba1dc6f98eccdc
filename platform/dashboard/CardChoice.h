#ifndef DASHBOARD_CARDCHOICE_H
#define DASHBOARD_CARDCHOICE_H

#include "sdk/SdkControl.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace dashboard
{

/// Whether the address is that of a card in a reader or a modem, and not that of a profile.
bool isRealCard(const QString &address);

/// The address of the virtual card of a profile, whatever the file is called.
QString addressOfProfile(const QString &file);

/// What an address stands for, in words: "the card in the modem at /dev/ttyUSB2".
QString cardWords(const QString &address);

/// Where a real card is, in words: "Card in a modem". Empty for a virtual one.
QString placeWords(const QString &address);

/// What there is to do where no card is: "Plug the modem in".
QString missingCardWords(const QString &address);

/// Where a session stands, in words: "waiting for the user".
QString turnWords(sdk::Turn turn);

/// The readers and modems that there are.
struct CardPlaces {
    QStringList readers;   ///< by their names
    QString readerProblem; ///< why there are none; empty when there are
    QStringList modemLines;
};

/// Looks for them now.
CardPlaces findCardPlaces();

} // namespace dashboard

#endif // DASHBOARD_CARDCHOICE_H
