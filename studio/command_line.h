#pragma once
// The command line as Velora reads it: "--" ends the options, and everything after it is a photo
// or folder, even when it starts with "-" or looks like one of Qt's own options. Names are kept
// byte for byte, also when they are not UTF-8.
#include <QStringList>

#include <vector>

namespace velora {

class CommandLine {
public:
    CommandLine(int argc, char** argv);

    // What Qt and the option parser get: the program and everything before "--". QApplication
    // takes its own options out of these, so hand it `argc` by reference.
    int argc = 0;
    std::vector<char*> argv;

    // The photos and folders named: arguments before "--" that are not options (what is left once
    // Qt took its own), then everything after it.
    QStringList paths() const;

private:
    QStringList m_afterOptions;
};

} // namespace velora
