// orvelsim: the substitute host. See docs/simhost.md.
#include "hostapp.h"

#include <QApplication>

int main(int argc, char** argv)
{
    // Our options are read from the raw arguments: Qt would take "--plugin" for its own
    // plug-in option. The application object only gets the program name.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    sim::choosePlatform();
    int qtArgc = 1;
    QApplication app(qtArgc, argv);
    QApplication::setApplicationName(QStringLiteral("orvelsim"));
    sim::HostOptions options;
    const int parsed = sim::parseCommandLine(arguments, &options);
    if (parsed >= 0)
        return parsed;
    return sim::runHost(options);
}
