#include "command_line.h"

#include "files.h"

#include <cstring>

namespace velora {

CommandLine::CommandLine(int count, char** args)
{
    int i = 0;
    for (; i < count && args[i]; ++i) {
        if (i > 0 && std::strcmp(args[i], "--") == 0) break;
        argv.push_back(args[i]);
    }
    for (++i; i < count && args[i]; ++i) m_afterOptions.append(Files::decodeName(QByteArray(args[i])));
    argc = int(argv.size());
    argv.push_back(nullptr);
}

QStringList CommandLine::paths() const
{
    QStringList out;
    for (int i = 1; i < argc && argv[size_t(i)]; ++i)
        if (argv[size_t(i)][0] != '-') out.append(Files::decodeName(QByteArray(argv[size_t(i)])));
    return out + m_afterOptions;
}

} // namespace velora
