#ifndef BENCHCHILD_H
#define BENCHCHILD_H

#include <QStringList>

// One measured operation, in a process of its own so that its peak memory is its own. It
// loads the plug-in as a host does and writes the operation's time in milliseconds on
// standard output.
class BenchChild
{
public:
    explicit BenchChild(const QStringList &arguments);
    int run();

private:
    QStringList m_arguments;
};

#endif // BENCHCHILD_H
