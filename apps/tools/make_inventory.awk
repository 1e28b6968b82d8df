# Writes the inventory of the demo, 5,000 NEs with fifty planted faults, to standard output, and what is wrong
# in it (line, fault, identifier, line of the earlier NE or "-"; tab-separated) to the file named `expected`:
#   cd install/share/inventory
#   LC_ALL=C awk -v expected=inventory.expected -f ../../../apps/tools/make_inventory.awk >inventory.csv
# The same bytes at every run.

function pick(n) {
  seed = (seed * 16807) % 2147483647
  return seed % n + 1
}

function quoted(text) {
  if (text !~ /[",]/) return text
  gsub(/"/, "\"\"", text)
  return "\"" text "\""
}

BEGIN {
  seed = 20011
  types = split("ADM-155C ADM-2500 DXC-4000 MSTP-600 MSTP-1200 OTN-3800 OTN-9600 PTN-950 PTN-3900 RTN-620", type, " ")
  split("3.12.4 4.08.21 5.1 5.36.10 5.40 5.51.7.36 6.0.11 2.3.10 3.1.0 1.20.5", good, " ")
  split("3.11.9 4.08.19 5.0.99 5.36.9 5.4 5.51.7.34 6.0 2.3 3.0.9 1.19", old, " ")
  sites = split("North Harbour|Kingsfield|Mill Lane|East Ridge|Old Town|Airport|Lakeside|University|深圳福田|上海浦东|北京海淀|广州天河|成都高新|西安雁塔|Río Verde|Zürich Süd", site, "|")
  kinds = split("identifier-form name-empty address-form address-use type-unknown version-form version-low identifier-twice address-twice", kind, " ")
  split("9|9-|65536-1|09-12|0-0|12-x", badIdentifier, "|")
  split("|   || ||", noName, "|")
  split("10.1.2|10.1.2.256|10.01.2.3|10.1.2.3.4|ten|10.1.2.3 ", badAddress, "|")
  split("0.0.0.0|255.255.255.255|224.0.0.5|239.255.1.1|0.0.0.0|233.7.8.9", badUse, "|")
  split("ADM-156C|OTN3800||adm-2500|PTN-3900X|未知", badType, "|")
  split("V5R1|5..1||5.1-SP2|latest|1.2.3.4.5.6.7", badVersion, "|")

  printf "identifier,name,type,address,version,position\r\n"
  for (i = 0; i < 5000; ++i) {
    identifier = sprintf("%d-%d", 9 + int(i / 500), i % 500 + 1)
    t = pick(types)
    name = sprintf("%s %d", site[pick(sites)], i + 1)
    if (pick(200) == 1) name = name " \"spare\""
    address = sprintf("10.%d.%d.%d", 20 + int(i / 62500), int(i / 250) % 250, i % 250 + 1)
    version = good[t]
    typeName = type[t]
    position = sprintf("Room %d, Rack %d", pick(4), pick(40))
    ids[i] = identifier
    addresses[i] = address

    if (i % 97 == 40 && planted < 50) {
      what = kind[planted % kinds + 1]
      n = int(planted / kinds) + 1
      other = "-"
      if (what == "identifier-form") identifier = badIdentifier[n]
      if (what == "name-empty") name = noName[n]
      if (what == "address-form") address = badAddress[n]
      if (what == "address-use") address = badUse[n]
      if (what == "type-unknown") typeName = badType[n]
      if (what == "version-form") version = badVersion[n]
      if (what == "version-low") version = old[t]
      if (what == "identifier-twice") { identifier = ids[i - 31 * n]; other = i - 31 * n + 2 }
      if (what == "address-twice") { address = addresses[i - 31 * n]; other = i - 31 * n + 2 }
      printf "%d\t%s\t%s\t%s\n", i + 2, what, identifier, other > expected
      ++planted
    }
    printf "%s,%s,%s,%s,%s,%s\r\n", identifier, quoted(name), typeName, address, version, quoted(position)
  }
}
