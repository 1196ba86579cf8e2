# Makes one function of all C++ samples of a guide, each in a block of its own, within what they use of each other.
BEGIN {
    n = split("KVRAnswer HRMv2Answer HRMv2MotorProxy KVRMotorProxy TB60LVStub VOXBusUrl VOXNetwork VOXUdpBus " \
              "QDebug QFile QJsonDocument QSaveFile QThread", headers, " ")
    for (i = 1; i <= n; ++i)
        print "#include <" headers[i] ">"
    print "void samples(VOXBus &bus, VOXBus &network_, QObject &window)\n{\n    VOXNetwork network(&network_);"
}
/^```/ && !inside && $0 != "```cpp" { other = !other; next }
/^```/ && !other { inside = !inside; print inside ? "{" : "}"; next }
inside { print }
END { print "}" }
