#ifndef SITECHECK_H
#define SITECHECK_H

struct SiteConfig;

/// Looks at the lines of @p site without a broker, and prints what is found there. Gives the exit code.
int checkSite(const SiteConfig &site);

/// Prints every topic of @p site with its payload, without a broker. Gives the exit code.
int printTopics(const SiteConfig &site);

#endif
