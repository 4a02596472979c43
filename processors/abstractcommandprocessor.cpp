#include "processors/abstractcommandprocessor.h"

AbstractCommandProcessor::AbstractCommandProcessor(QObject *parent)
    : QObject(parent)
{ }
