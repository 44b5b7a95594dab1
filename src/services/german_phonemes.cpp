// SPDX-License-Identifier: MIT
#include "services/german_phonemes.h"

namespace textrix {

// '<' is spoken as the word for greater and '>' as the word for smaller: the pairing is the
// service's own and stays as it is.
const std::array<CharacterWord, 16> kCharacterWords = {{
    {u'+', u" plus "},
    {u'%', u" prozent "},
    {u'&', u" und "},
    {u'<', u" gr\u00F6\u00DFer "},
    {u'>', u" kleiner "},
    {u'=', u" gleich "},
    {u'0', u" null "},
    {u'1', u" eins "},
    {u'2', u" zwei "},
    {u'3', u" drei "},
    {u'4', u" vier "},
    {u'5', u" f\u00FCnf "},
    {u'6', u" sechs "},
    {u'7', u" sieben "},
    {u'8', u" acht "},
    {u'9', u" neun "},
}};

// The rows come as one list, whole words and prefixes first, then letter groups, then single
// letters, so that the longer spelling at a position is tried before its parts ("sch" before
// "ch", "ei" before "e"). Four keys appear twice ("aber", "habe", "ein", "eu"); the second row of
// each can never match, because the first is tried before it at every position. Those rows stay,
// in their places, so that the list is the service's list row for row. Row 47 begins with a space:
// it respells the prefix "ge" only after a space.
const std::array<PhonemeRow, kPhonemeRowCount> kGermanPhonemes = {{
    {u"klein", u"CLYEN"},           // 0
    {u"liest", u"LEAST"},           // 1
    {u"iehen", u"EE HEN"},          // 2
    {u"geschickt", u"GAY SHICKT"},  // 3
    {u"aber", u"UHBER"},            // 4
    {u"war", u"VAR"},               // 5
    {u"wurde", u"VOORDAY"},         // 6
    {u"f\u00FCr", u"FYR"},          // 7
    {u"auf", u"OWF"},               // 8
    {u"des", u"DESS"},              // 9
    {u"dies", u"DEES"},             // 10
    {u"sind", u"SYND"},             // 11
    {u"dem", u"DAME"},              // 12
    {u"ich", u"EEHSH"},             // 13
    {u"man", u"MUN"},               // 14
    {u"kann", u"KUN"},              // 15
    {u"vor", u"FORE"},              // 16
    {u"gegen", u"GAYGAYN"},         // 17
    {u"vom", u"FOM"},               // 18
    {u"hatte", u"HA TAY"},          // 19
    {u"hallo", u"HAR LOW"},         // 20
    {u"habe", u"HARBAY"},           // 21
    {u"geht", u"GATE"},             // 22
    {u"es", u"ESS"},                // 23
    {u"der", u"DARE"},              // 24
    {u"er", u"AIR"},                // 25
    {u"ieh", u"EE"},                // 26
    {u"ehen", u"AY HEN"},           // 27
    {u"kein", u"KYEN"},             // 28
    {u"ihr", u"EER"},               // 29
    {u"eine", u"EY NEH"},           // 30
    {u"ein", u"EYEN"},              // 31
    {u"von", u"FONNE"},             // 32
    {u"an", u"ARN"},                // 33
    {u"bei", u"BYE"},               // 34
    {u"uns", u"OONS"},              // 35
    {u"heute", u"HOI TE"},          // 36
    {u"gehe", u"GAY UH"},           // 37
    {u"als", u"ARLLS"},             // 38
    {u"frage", u"FRAH GU"},         // 39
    {u"komme", u"COMMAY"},          // 40
    {u"mit", u"MID"},               // 41
    {u"nein", u"NEIHNN"},           // 42
    {u"zu", u"SOO"},                // 43
    {u"wird", u"WEERT"},            // 44
    {u"den", u"DAIN"},              // 45
    {u"\u00FCber", u"UIBARE"},      // 46
    {u" ge", u" GAY"},              // 47
    {u"eu", u"OI"},                 // 48
    {u"au", u"OW"},                 // 49
    {u"eu", u"OI"},                 // 50
    {u"\u00E4u", u"OI"},            // 51
    {u"sch", u"SH"},                // 52
    {u"ch", u"CK"},                 // 53
    {u"\u00E4", u"AI"},             // 54
    {u"\u00F6", u"O"},              // 55
    {u"\u00FC", u"OO"},             // 56
    {u"\u00DF", u"S"},              // 57
    {u"tie", u"TSYE"},              // 58
    {u"tio", u"TYSO"},              // 59
    {u"tia", u"TYSA"},              // 60
    {u"ent", u"ANNT"},              // 61
    {u"aa", u"U"},                  // 62
    {u"ee", u"AI"},                 // 63
    {u"lio", u"LYO"},               // 64
    {u"lia", u"LYA"},               // 65
    {u"qu", u"QU"},                 // 66
    {u"vie", u"FEE"},               // 67
    {u"vi", u"VEE"},                // 68
    {u"va", u"VAU"},                // 69
    {u"das", u"DAS"},               // 70
    {u"aber", u"UHBER"},            // 71
    {u"habe", u"HUHBAI"},           // 72
    {u"nen", u"NEN"},               // 73
    {u"ahn", u"AHN"},               // 74
    {u"ein", u"EYN"},               // 75
    {u"ga", u"GU"},                 // 76
    {u"ie", u"EE"},                 // 77
    {u"ei", u"IGH"},                // 78
    {u"ai", u"IGH"},                // 79
    {u"ey", u"EY"},                 // 80
    {u"a", u"U"},                   // 81
    {u"e", u"AI"},                  // 82
    {u"i", u"EA"},                  // 83
    {u"j", u"Y"},                   // 84
    {u"u", u"OO"},                  // 85
    {u"v", u"F"},                   // 86
    {u"x", u"KS"},                  // 87
    {u"z", u"TS"},                  // 88
}};

}  // namespace textrix
