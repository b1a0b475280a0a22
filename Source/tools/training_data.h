// Training data: making and converting.
#pragma once

void generate_training_games();
void convert_training_epd();
void epd_to_records();
void records_to_epd();
